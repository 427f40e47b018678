#include "core/reel/ProjectUpdate.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "core/base/FileDescriptor.h"
#include "core/base/ReplacementFile.h"
#include "core/reel/Project.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// For other processes; a save takes well under a second. Shorter than what a disk is given that may hang.
constexpr auto kLongestWait = std::chrono::seconds(5);
constexpr auto kAbandoned = std::chrono::minutes(10);
constexpr auto kRetry = std::chrono::milliseconds(5);

Failure busyFailure(const fs::path& folder) {
    return {
        fmt::format("“{}” is being saved by another program. Try again later.", folder.string()), {}, EAGAIN};
}

// Equal for two looks at a file that nobody has written or replaced between them.
struct FileState {
    explicit FileState(const struct stat& status)
        : device(status.st_dev),
          file(status.st_ino),
          size(status.st_size),
          written(status.st_mtim.tv_sec, status.st_mtim.tv_nsec),
          changed(status.st_ctim.tv_sec, status.st_ctim.tv_nsec) {}
    bool operator==(const FileState&) const = default;

    dev_t device;
    ino_t file;
    off_t size;
    std::pair<time_t, long> written;
    std::pair<time_t, long> changed;
};

std::optional<FileState> stateOf(const fs::path& file) {
    struct stat status {};
    return ::stat(file.c_str(), &status) == 0 ? std::optional(FileState(status)) : std::nullopt;
}

// One project file, locked while the object lives. Whoever held the lock before has put another file in its
// place, so the lock counts only on the file that bears the name.
class LockedFile {
  public:
    // Absent when the deadline passes; fails when there is no such file.
    static Result<std::optional<LockedFile>> lock(const fs::path& file, Clock::time_point deadline);

    const FileState& state() const { return state_; }

  private:
    LockedFile(FileDescriptor descriptor, const FileState& state)
        : descriptor_(std::move(descriptor)), state_(state) {}
    static bool isOthers(const FileDescriptor& descriptor);

    FileDescriptor descriptor_;
    FileState state_;
};

// Not so on a file system that cannot lock files: there the comparison before the replacement must do.
bool LockedFile::isOthers(const FileDescriptor& descriptor) {
    return ::flock(descriptor.value(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

Result<std::optional<LockedFile>> LockedFile::lock(const fs::path& file, Clock::time_point deadline) {
    for (;; std::this_thread::sleep_for(kRetry)) {
        auto opened = openRegularFile(file);
        if (!opened) return std::unexpected(opened.error());
        const auto state = stateOf(file);
        struct stat locked {};
        if (!isOthers(opened->descriptor) && ::fstat(opened->descriptor.value(), &locked) == 0 && state
            && FileState(locked) == *state)
            return LockedFile(std::move(opened->descriptor), *state);
        if (Clock::now() > deadline) return std::nullopt;
    }
}

// A process that was killed while it wrote has left its file. A younger one may still be written, by somebody
// without the lock.
void removeAbandonedFiles(const fs::path& folder) {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (!name.starts_with('.') || !name.ends_with(".partial.json")) continue;
        std::error_code ignored;
        const auto written = entry->last_write_time(ignored);
        if (!ignored && fs::file_time_type::clock::now() - written > kAbandoned)
            fs::remove(entry->path(), ignored);
    }
}

// False when the file is no longer the one that was read.
Result<bool> replace(const Project& project, const FileState& read) {
    const auto text = encodeProjectInfo(project.info);
    if (!text) return std::unexpected(text.error());
    auto file = ReplacementFile::create(project.infoURL(), Readers::owner);
    if (!file) return std::unexpected(file.error());
    if (auto written = file->write(*text); !written) return std::unexpected(written.error());
    if (auto synced = file->sync(); !synced) return std::unexpected(synced.error());
    if (stateOf(project.infoURL()) != read) return false;
    if (auto committed = file->commit(); !committed) return std::unexpected(committed.error());
    removeAbandonedFiles(project.folder());
    return true;
}

Failure withReason(Failure failure) {
    if (failure.nativeCode != 0 && failure.message.ends_with('.')) {
        failure.message.pop_back();
        failure.message += fmt::format(": {}.", std::strerror(failure.nativeCode));
    }
    return failure;
}

} // namespace

Result<void> updateProject(const fs::path& folder, const std::function<Result<void>(ProjectInfo&)>& change) {
    const auto deadline = Clock::now() + kLongestWait;
    const fs::path file = Project(folder, {}).infoURL();
    while (Clock::now() < deadline) {
        const auto result = LockedFile::lock(file, deadline);
        if (!result) return std::unexpected(withReason(result.error()));
        const std::optional<LockedFile>& locked = *result;
        if (!locked) break;
        auto project = Project::load(folder);
        if (!project)
            return failure(fmt::format("The project file of “{}” can’t be read any more.", folder.string()));
        const ProjectInfo before = project->info;
        if (auto changed = change(project->info); !changed) return changed;
        if (project->info == before) return {};
        const auto replaced = replace(*project, locked->state());
        if (!replaced) return std::unexpected(withReason(replaced.error()));
        if (*replaced) return {};
    }
    return std::unexpected(busyFailure(folder));
}

} // namespace glintro
