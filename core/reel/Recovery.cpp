#include "core/reel/Recovery.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "core/base/FileDescriptor.h"
#include "core/base/FileIO.h"
#include "core/media/decode/MovieReader.h"
#include "core/media/fragments/MovieSealing.h"
#include "core/reel/TakeJournal.h"
#include "core/timeline/AutoZoom.h"

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

// Where a host time lies with the pauses before it cut out.
Seconds withoutPauses(Seconds hostTime, const PauseClock& pauses) {
    return hostTime - pauses.paused(hostTime);
}

Seconds cameraOffsetOf(const TakeRecord& take) {
    if (take.firstFrameHost <= 0 || take.cameraStartHost <= 0) return 0;
    return withoutPauses(take.cameraStartHost, take.pauses) - withoutPauses(take.firstFrameHost, take.pauses);
}

// One recovery of one folder that is nobody else's meanwhile.
class ReelRecovery {
  public:
    ReelRecovery(const fs::path& folder, const RecoveryOptions& options)
        : options_(options), reel_(folder, {}), take_(TakeJournal::read(folder)) {}

    Result<RecoveredReel> run();

  private:
    Result<RecoveredReel> rebuild();
    Result<RecoveredReel> discard() const;
    Result<SealedMovie> finishScreenMovie() const;
    bool finishCameraMovie() const;
    Result<bool> completeEvents(Seconds duration) const;
    std::optional<Project> registerReel(const SealedMovie& movie, bool hasCamera, Timestamp created) const;
    Result<RecoveredReel> complete(Project project, Outcome outcome) const;
    bool lacksItsMovie() const;
    Failure unreadable(const Failure& why) const;
    std::string path() const { return reel_.folder().string(); }

    RecoveryOptions options_;
    Project reel_;                   // its places only
    std::optional<TakeRecord> take_; // absent when there is no journal
};

Result<RecoveredReel> ReelRecovery::run() {
    const auto loaded = Project::inspect(reel_.folder());
    if (loaded.status == Status::none && lacksItsMovie())
        return failure(fmt::format(
            "The raw.mov of “{}” has been taken away: put it back, or delete the folder.", path()));
    if (loaded.status == Status::none && take_) return discard();
    if (loaded.status == Status::none)
        return failure(fmt::format("“{}” is not a reel: it holds no raw.mov.", path()));
    if (loaded.status == Status::damaged) return rebuild();
    Project project = *loaded.project;
    const auto placed = completeEvents(project.info.duration);
    if (!placed) return std::unexpected(placed.error());
    ProjectSettings& settings = project.info.settings;
    if (*placed && settings.zooms.empty()) // nobody could know of the clicks before
        settings.zooms =
            AutoZoom::segments(project.loadEvents().clicks, project.info.duration, options_.zoomLevel);
    return complete(std::move(project), Outcome::fine);
}

// The journal goes last: until then all of this is done again when it is interrupted.
Result<RecoveredReel> ReelRecovery::rebuild() {
    const Timestamp created = creationOf(reel_.rawURL());
    const auto movie = finishScreenMovie();
    if (!movie) return std::unexpected(unreadable(movie.error()));
    if (!movie->hasFrames && take_) return discard();
    if (!movie->hasFrames) return failure(fmt::format("The raw.mov in “{}” holds no picture.", path()));
    const bool hasCamera = finishCameraMovie();
    if (const auto events = completeEvents(movie->duration); !events) return std::unexpected(events.error());
    const auto project = registerReel(*movie, hasCamera, created);
    if (!project)
        return failure(
            fmt::format("The recording in “{}” can’t be made a reel: its raw.mov can’t be read, or the "
                        "folder can’t be written.",
                        path()));
    return complete(*project, Outcome::recovered);
}

// A take that had begun, of which somebody took the screen's movie away: what is left is not to be lost.
bool ReelRecovery::lacksItsMovie() const {
    return take_ && take_->firstFrameHost > 0 && isThere(reel_.cameraURL());
}

Failure ReelRecovery::unreadable(const Failure& why) const {
    return {fmt::format("“{}” can’t be recovered. {}", path(), why.message), why.detail, why.nativeCode};
}

// A movie that did not come from a take, for example an imported one, is as good as its reader finds it.
Result<SealedMovie> ReelRecovery::finishScreenMovie() const {
    auto sealed = sealMovie(reel_.rawURL());
    if (sealed || take_) return sealed;
    const auto reader = MovieReader::open(reel_.rawURL(), MovieReader::Access::single);
    if (!reader) return std::unexpected(reader.error());
    const MovieProperties& properties = (*reader)->properties();
    return SealedMovie{true, properties.hasAudio, properties.duration};
}

// Whether the reel has one. A file that is no movie is left where it is: somebody may know what to do with
// it.
bool ReelRecovery::finishCameraMovie() const {
    if (!isThere(reel_.cameraURL())) return false;
    const auto camera = sealMovie(reel_.cameraURL());
    if (!camera) return MovieReader::open(reel_.cameraURL(), MovieReader::Access::single).has_value();
    std::error_code ignored;
    if (!camera->hasFrames) fs::remove(reel_.cameraURL(), ignored);
    return camera->hasFrames;
}

// Whether the journal's events had to be placed: those that are written whole already were placed by the
// take's own stop.
Result<bool> ReelRecovery::completeEvents(Seconds duration) const {
    if (!take_ || readEvents(reel_.eventsURL())) return false;
    const Seconds origin = withoutPauses(take_->firstFrameHost, take_->pauses);
    const auto written = writeEvents(
        placeEvents(take_->samples, take_->clicks, take_->pauses, origin, duration), reel_.eventsURL());
    if (!written) return std::unexpected(written.error());
    return true;
}

std::optional<Project> ReelRecovery::registerReel(const SealedMovie& movie, bool hasCamera,
                                                  Timestamp created) const {
    std::error_code ignored;
    return Project::registerReel(reel_.folder(),
                                 {.name = fs::canonical(reel_.folder(), ignored).filename().string(),
                                  .hasCamera = hasCamera,
                                  .cameraOffset = hasCamera && take_ ? cameraOffsetOf(*take_) : 0,
                                  .hasAudio = movie.hasAudio,
                                  .zoomLevel = options_.zoomLevel,
                                  .aspect = options_.aspect,
                                  .created = created});
}

// What a stop does behind the registration.
Result<RecoveredReel> ReelRecovery::complete(Project project, Outcome outcome) const {
    if (!take_) return RecoveredReel{outcome, std::move(project)};
    // A second pointer beside the recorded one would confuse.
    if (take_->pointerIsEmbedded) project.info.settings.showCursor = false;
    if (!project.save()) return failure(fmt::format("The project file in “{}” can’t be written.", path()));
    std::error_code error;
    fs::remove(TakeJournal::fileIn(reel_.folder()), error);
    if (error) return failure(fmt::format("The folder “{}” can’t be written: {}.", path(), error.message()));
    return RecoveredReel{outcome, std::move(project)};
}

// The folder goes, too, when nobody put anything else there. The camera's movie goes before the screen's, so
// that an interrupted removal does not look like lacksItsMovie().
Result<RecoveredReel> ReelRecovery::discard() const {
    std::error_code error;
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

Result<RecoveredReel> recoverReel(const fs::path& folder, const RecoveryOptions& options) {
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
    return ReelRecovery(folder, options).run();
}

} // namespace glintro
