#include "core/reel/Recovery.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "core/base/FileDescriptor.h"
#include "core/base/FileIO.h"
#include "core/media/fragments/MovieSealing.h"
#include "core/reel/MediaTraces.h"
#include "core/reel/TakeJournal.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using Outcome = RecoveredReel::Outcome;
using Status = Project::LoadResult::Status;

bool isThere(const fs::path& file) {
    std::error_code ignored;
    return fs::exists(file, ignored);
}

// Keeps two processes from recovering one reel at the same time.
class FolderLock {
  public:
    explicit FolderLock(const fs::path& folder)
        : descriptor_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        isOthers_ = descriptor_.isOpen() && ::flock(descriptor_.value(), LOCK_EX | LOCK_NB) != 0
                    && errno == EWOULDBLOCK;
    }
    // Not so on a file system that cannot lock folders.
    bool isOthers() const { return isOthers_; }

  private:
    FileDescriptor descriptor_;
    bool isOthers_ = false;
};

// When the recording of a file began, as well as the file system tells: copies of a file are younger than
// what they hold, and changes make it look younger, too.
Timestamp creationOf(const fs::path& file) {
    using std::chrono::seconds;
    struct statx status {};
    if (::statx(AT_FDCWD, file.c_str(), 0, STATX_BTIME | STATX_MTIME, &status) != 0)
        return std::chrono::floor<seconds>(std::chrono::system_clock::now());
    const auto changed = status.stx_mtime.tv_sec;
    const bool hasBirth = (status.stx_mask & STATX_BTIME) != 0;
    return Timestamp(seconds(hasBirth ? std::min(status.stx_btime.tv_sec, changed) : changed));
}

// One recovery of one folder that is nobody else's meanwhile.
class ReelRecovery {
  public:
    ReelRecovery(const fs::path& folder, const ReelDefaults& defaults)
        : defaults_(defaults),
          reel_(folder, {}),
          created_(creationOf(reel_.rawURL())),
          take_(TakeJournal::read(folder)) {}

    Result<RecoveredReel> run();

  private:
    Result<RecoveredReel> finish(Outcome outcome);
    Result<RecoveredReel> discard() const;
    std::optional<Failure> whyNoRebuild() const;
    std::optional<Failure> whyNoDiscard() const;
    std::string folderName() const;
    std::string path() const { return reel_.folder().string(); }

    ReelDefaults defaults_;
    Project reel_; // its places only
    Timestamp created_;
    std::optional<TakeRecord> take_; // absent when there is no journal
};

Result<RecoveredReel> ReelRecovery::run() {
    switch (Project::inspect(reel_.folder()).status) {
        case Status::ok:
            return finish(Outcome::fine);
        case Status::none:
            if (take_) return discard();
            return failure(fmt::format("“{}” is not a reel: it holds no raw.mov.", path()));
        case Status::damaged:
            break;
    }
    if (auto why = whyNoRebuild()) return std::unexpected(*why);
    const auto movie = sealMovie(reel_.rawURL());
    if (movie && !movie->hasFrames && take_) return discard();
    return finish(Outcome::recovered);
}

// A project file that the system does not let us read, for now or to this user, may be as good as ever.
std::optional<Failure> ReelRecovery::whyNoRebuild() const {
    constexpr std::array kNoSuchFile{0, ENOENT, ENOTDIR, EISDIR, EINVAL, ELOOP, EFBIG};
    const auto text = readFile(reel_.infoURL(), kLongestProjectText);
    if (text || std::ranges::find(kNoSuchFile, text.error().nativeCode) != kNoSuchFile.end())
        return std::nullopt;
    return text.error();
}

Result<RecoveredReel> ReelRecovery::finish(Outcome outcome) {
    auto finished = finishReel(
        reel_.folder(),
        {.name = folderName(), .created = created_, .take = std::move(take_), .defaults = defaults_});
    if (!finished) return std::unexpected(finished.error());
    return RecoveredReel{outcome, std::move(finished->project), finished->notice};
}

std::string ReelRecovery::folderName() const {
    std::error_code ignored;
    return fs::canonical(reel_.folder(), ignored).filename().string();
}

// A take that had a picture is not to be lost, whatever somebody or a broken disk has done to its files.
std::optional<Failure> ReelRecovery::whyNoDiscard() const {
    if (holdsMedia(reel_.rawURL()))
        return Failure{
            fmt::format("The raw.mov in “{}” is damaged, so no reel can be made of it. All files are "
                        "kept as they are.",
                        path())};
    if (take_->firstFrameHost > 0 && !isThere(reel_.rawURL()))
        return Failure{fmt::format(
            "The raw.mov of “{}” has been taken away: put it back, or delete the folder.", path())};
    if (holdsMedia(reel_.cameraURL()))
        return Failure{
            fmt::format("No picture of the screen is in “{}”, but its camera.mov holds some. All files "
                        "are kept as they are.",
                        path())};
    return std::nullopt;
}

// The folder goes, too, when nobody put anything else there. The journal is emptied first, so that an
// interrupted removal does not look like a take whose raw.mov was taken away.
Result<RecoveredReel> ReelRecovery::discard() const {
    if (auto why = whyNoDiscard()) return std::unexpected(*why);
    std::error_code error;
    fs::resize_file(TakeJournal::fileIn(reel_.folder()), 0, error);
    for (const fs::path& file :
         {reel_.cameraURL(), reel_.eventsURL(), reel_.rawURL(), TakeJournal::fileIn(reel_.folder())}) {
        fs::remove(file, error);
        if (error)
            return failure(fmt::format("Nothing was recorded in “{}”, but its files can’t be removed: {}.",
                                       path(), error.message()));
    }
    fs::remove(reel_.folder(), error);
    return RecoveredReel{Outcome::nothingRecorded, std::nullopt};
}

} // namespace

bool needsRecovery(const fs::path& folder) {
    if (TakeJournal::isRunning(folder)) return false;
    return isThere(TakeJournal::fileIn(folder)) || Project::inspect(folder).status == Status::damaged;
}

Result<RecoveredReel> recoverReel(const fs::path& folder, const ReelDefaults& defaults) {
    if (!isThere(folder)) return failure(fmt::format("There is no folder “{}”.", folder.string()));
    std::error_code unreadable;
    if (!fs::exists(Project(folder, {}).rawURL(), unreadable) && unreadable)
        return failure(
            fmt::format("The folder “{}” can’t be read: {}.", folder.string(), unreadable.message()));
    const FolderLock lock(folder);
    if (lock.isOthers())
        return failure(fmt::format("“{}” is being recovered by another Glintro right now.", folder.string()));
    if (TakeJournal::isRunning(folder))
        return failure(
            fmt::format("“{}” is being recorded right now. Stop the recording first.", folder.string()));
    return ReelRecovery(folder, defaults).run();
}

} // namespace glintro
