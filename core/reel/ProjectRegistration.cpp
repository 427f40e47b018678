#include <cmath>
#include <system_error>

#include "core/media/decode/MovieReader.h"
#include "core/reel/Project.h"
#include "core/timeline/AutoZoom.h"

namespace glintro {
namespace {

std::optional<MovieProperties> moviePropertiesOf(const std::filesystem::path& file) {
    const auto reader = MovieReader::open(file, MovieReader::Access::single);
    if (!reader) return std::nullopt;
    const MovieProperties properties = (*reader)->properties();
    const bool hasLength = std::isfinite(properties.duration) && properties.duration > 0;
    return hasLength ? std::optional(properties) : std::nullopt;
}

// The edits in a damaged file are not recovered automatically, but the file is kept, once, for recovery by
// hand. A failure to keep it does not stop the rebuild.
void keepDamagedProjectFile(const Project& project) {
    std::error_code ignored;
    if (!std::filesystem::exists(project.infoURL(), ignored)) return;
    const auto kept = project.damagedURL();
    std::filesystem::remove(kept, ignored);
    std::filesystem::rename(project.infoURL(), kept, ignored);
}

} // namespace

std::optional<Project> Project::registerReel(const std::filesystem::path& folder,
                                             const Registration& registration) {
    Project project(folder, {});
    const auto movie = moviePropertiesOf(project.rawURL());
    if (!movie) return std::nullopt;

    ProjectInfo& info = project.info;
    info.name = registration.name;
    info.created = registration.created;
    info.duration = movie->duration;
    info.width = movie->naturalSize.width;
    info.height = movie->naturalSize.height;
    info.hasCamera = registration.hasCamera;
    info.cameraOffset = registration.cameraOffset;
    info.hasAudio = registration.hasAudio;
    info.settings.showCursor = !registration.pointerIsEmbedded;
    info.settings.aspect = registration.aspect.value_or(AspectRatio::wide);
    info.settings.zooms =
        AutoZoom::segments(project.loadEvents().clicks, movie->duration, registration.zoomLevel);

    keepDamagedProjectFile(project);
    return project.save() ? std::optional(project) : std::nullopt;
}

} // namespace glintro
