#include "core/render/ReelComposition.h"

#include <algorithm>

namespace glintro {

Result<ReelComposition> ReelComposition::build(const Project& project, const ProjectSettings& settings) {
    auto screen = MovieReader::open(project.rawURL());
    if (!screen) return std::unexpected(screen.error());
    const MovieProperties properties = (*screen)->properties();

    ReelComposition reel{.screen = std::move(*screen),
                         .webcam = nullptr,
                         .cameraOffset = project.info.cameraOffset,
                         .audio = project.rawURL(),
                         .hasAudio = properties.hasAudio,
                         .map = TimeMap(settings, std::min(project.info.duration, properties.duration)),
                         .sourceSize = {static_cast<double>(properties.naturalSize.width),
                                        static_cast<double>(properties.naturalSize.height)}};
    if (project.cameraAvailable()) {
        if (auto webcam = MovieReader::open(project.cameraURL())) reel.webcam = std::move(*webcam);
    }
    return reel;
}

} // namespace glintro
