#include "app/library/ImportFolder.h"

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "app/library/ReelImport.h"
#include "core/base/FileIO.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = ".importing-";
constexpr int kMostTries = 5;

FileDescriptor openFolder(const fs::path& folder) {
    return FileDescriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

// Absent when a living process has it, and where the file system cannot lock folders.
std::optional<FileDescriptor> lockedFolder(const fs::path& folder) {
    FileDescriptor descriptor = openFolder(folder);
    if (!descriptor.isOpen() || ::flock(descriptor.value(), LOCK_EX | LOCK_NB) != 0) return std::nullopt;
    return descriptor;
}

bool isRemoved(const FileDescriptor& folder) {
    struct stat status {};
    return ::fstat(folder.value(), &status) == 0 && status.st_nlink == 0;
}

std::unexpected<Failure> cannotWrite(const fs::path& folder, int code) {
    const auto why = std::generic_category().message(code);
    return failure(fmt::format("The folder “{}” can’t be written: {}.", folder.string(), why), {}, code);
}

} // namespace

bool isImportFolder(const fs::path& folder) {
    return std::string_view(folder.native()).substr(folder.native().rfind('/') + 1).starts_with(kPrefix);
}

bool isAbandonedImport(const fs::path& folder) {
    return isImportFolder(folder) && lockedFolder(folder).has_value();
}

void removeAbandonedImport(const fs::path& folder) {
    const auto lock = isImportFolder(folder) ? lockedFolder(folder) : std::nullopt;
    if (!lock) return;
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    fs::remove(folder.parent_path(), ignored); // fails unless it is empty
}

// A scan may come between making the folder and locking it, and remove it.
Result<ImportFolder> ImportFolder::create(const LibraryFolder& library, Timestamp date) {
    const fs::path day = library.dayFolder(date);
    ImportFolder folder(missingFolders(day));
    folder.path_ = day; // removes what was made of its parents, should one of them fail
    for (int i = 0; i < kMostTries; ++i) {
        if (auto made = library.makeDayFolder(date); !made) return std::unexpected(made.error());
        std::string pattern = day / fmt::format("{}XXXXXX", kPrefix);
        if (::mkdtemp(pattern.data()) == nullptr) {
            if (errno == ENOENT) continue;
            return cannotWrite(day, errno);
        }
        folder.lock_ = openFolder(pattern);
        while (folder.lock_.isOpen() && ::flock(folder.lock_.value(), LOCK_EX) != 0 && errno == EINTR) {
        }
        if (!folder.lock_.isOpen() || isRemoved(folder.lock_)) continue;
        folder.path_ = pattern;
        return folder;
    }
    return cannotWrite(day, ENOENT);
}

ImportFolder::ImportFolder(ImportFolder&& other) noexcept
    : path_(std::exchange(other.path_, {})), made_(std::move(other.made_)), lock_(std::move(other.lock_)) {}

ImportFolder::~ImportFolder() {
    if (path_.empty()) return;
    std::error_code ignored;
    if (isImportFolder(path_)) fs::remove_all(path_, ignored);
    for (const fs::path& folder : made_) fs::remove(folder, ignored); // those that are empty
}

Result<fs::path> ImportFolder::publish(const LibraryFolder& library, Timestamp date) {
    auto place = library.moveToProjectFolder(path_, date);
    if (!place) return place;
    path_.clear();
    syncFolder(place->parent_path());
    syncFolder(library.root());
    return place;
}

} // namespace glintro
