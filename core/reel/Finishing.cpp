#include "core/reel/Finishing.h"

#include <cmath>
#include <system_error>

#include <fmt/format.h>

#include "core/media/decode/MovieReader.h"
#include "core/media/fragments/MovieSealing.h"
#include "core/reel/MediaTraces.h"
#include "core/timeline/AutoZoom.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

// Events that were placed in a recording of another length are not this one's.
constexpr Seconds kSameDuration = 0.1;

class Finishing {
  public:
    Finishing(const fs::path& folder, const ReelFacts& facts) : facts_(facts), reel_(folder, {}) {}

    Result<FinishedReel> run();

  private:
    enum class Events { unchanged, placed, unwritable };

    Result<MovieProperties> finishScreenMovie() const;
    std::unexpected<Failure> cannotFinish(const Failure& why) const;
    bool finishCameraMovie();
    Events placeEvents(Seconds duration) const;
    Result<FinishedReel> complete(Project project);
    std::string path() const { return reel_.folder().string(); }

    const ReelFacts& facts_;
    Project reel_; // its places only
    std::optional<std::string> notice_;
};

Result<FinishedReel> Finishing::run() {
    if (auto registered = Project::load(reel_.folder())) return complete(*std::move(registered));
    const auto movie = finishScreenMovie();
    if (!movie) return std::unexpected(movie.error());
    const bool hasCamera = finishCameraMovie();
    const Events events = placeEvents(movie->duration);
    auto project = Project::registerReel(
        reel_.folder(), {.name = facts_.name,
                         .hasCamera = hasCamera,
                         .cameraOffset = hasCamera && facts_.take ? facts_.take->cameraOffset() : 0,
                         .hasAudio = movie->hasAudio,
                         .zoomLevel = facts_.defaults.zoomLevel,
                         .aspect = facts_.defaults.aspect,
                         .created = facts_.created,
                         .pointerIsEmbedded = facts_.take && facts_.take->pointerIsEmbedded});
    if (!project)
        return failure(
            fmt::format("The recording in “{}” can’t be made a reel: its raw.mov can’t be read, or "
                        "the folder can’t be written.",
                        path()));
    if (facts_.take && events != Events::unwritable) TakeJournal::remove(reel_.folder());
    return FinishedReel{*std::move(project), notice_};
}

// A movie that did not come from a take, for example an imported one, is as good as its reader finds it.
Result<MovieProperties> Finishing::finishScreenMovie() const {
    const auto sealed = sealMovie(reel_.rawURL());
    if (!sealed && facts_.take) return cannotFinish(sealed.error());
    if (sealed && !sealed->hasFrames)
        return failure(fmt::format("The raw.mov in “{}” holds no picture.", path()));
    const auto reader = MovieReader::open(reel_.rawURL(), MovieReader::Access::single);
    if (!reader) return cannotFinish(reader.error());
    return (*reader)->properties();
}

std::unexpected<Failure> Finishing::cannotFinish(const Failure& why) const {
    return failure(fmt::format("“{}” can’t be made a reel. {}", path(), why.message), why.detail,
                   why.nativeCode);
}

// Whether the reel has one. Only a file that holds no media is removed.
bool Finishing::finishCameraMovie() {
    std::error_code ignored;
    if (!fs::exists(reel_.cameraURL(), ignored)) return false;
    const auto sealed = sealMovie(reel_.cameraURL());
    const bool isMovie = sealed
                             ? sealed->hasFrames
                             : MovieReader::open(reel_.cameraURL(), MovieReader::Access::single).has_value();
    if (isMovie) return true;
    if (holdsMedia(reel_.cameraURL()) || !sealed)
        notice_ = fmt::format(
            "The camera.mov in “{}” can’t be read, so the reel has no camera. The file is kept as it is.",
            path());
    else
        fs::remove(reel_.cameraURL(), ignored);
    return false;
}

// Those that are in place already were placed by an earlier call that was interrupted.
Finishing::Events Finishing::placeEvents(Seconds duration) const {
    if (!facts_.take) return Events::unchanged;
    const auto present = readEvents(reel_.eventsURL());
    if (present && std::abs(present->duration - duration) < kSameDuration) return Events::unchanged;
    const auto written = writeEvents(facts_.take->events(duration), reel_.eventsURL());
    return written ? Events::placed : Events::unwritable;
}

// An earlier call was interrupted after the registration, or could not write the events.
Result<FinishedReel> Finishing::complete(Project project) {
    const Events events = placeEvents(project.info.duration);
    ProjectSettings& settings = project.info.settings;
    if (events == Events::placed && settings.zooms.empty()) { // no click was known when it was registered
        settings.zooms =
            AutoZoom::segments(project.loadEvents().clicks, project.info.duration, facts_.defaults.zoomLevel);
        if (!project.save())
            return failure(fmt::format("The project file in “{}” can’t be written.", path()));
    }
    if (events == Events::unwritable)
        return failure(fmt::format("The events file in “{}” can’t be written.", path()));
    if (facts_.take) TakeJournal::remove(reel_.folder());
    return FinishedReel{std::move(project), notice_};
}

} // namespace

Result<FinishedReel> finishReel(const fs::path& folder, const ReelFacts& facts) {
    return Finishing(folder, facts).run();
}

} // namespace glintro
