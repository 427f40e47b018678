#pragma once

#include <memory>
#include <optional>

#include "core/render/StillSource.h"

namespace glintro {

// Single finished frames of a reel. Every call that is given a project opens and closes the movies it needs:
// use a StillSource for several. Any thread.
class Still {
  public:
    // A moment of the recording, as StillSource grabs it.
    [[nodiscard]] static Result<SourceFrame> frame(const Project& project, const StillRequest& request);

    // Draws a grabbed frame on the canvas that has the given long side.
    static BgraImage render(const SourceFrame& frame, const RecordingEvents& events,
                            const ProjectSettings& settings, int longSide,
                            std::shared_ptr<const BgraImage> wallpaper, Framing framing);

    // Both in one: with the project's own settings when none are given.
    [[nodiscard]] static Result<BgraImage> render(const Project& project, Seconds at, int longSide,
                                                  const std::optional<ProjectSettings>& settings,
                                                  Framing framing,
                                                  std::shared_ptr<const BgraImage> wallpaper = nullptr);
};

} // namespace glintro
