#pragma once

#include <memory>
#include <optional>

#include "core/base/Failure.h"
#include "core/reel/Project.h"
#include "core/render/FrameRenderer.h"

namespace glintro {

// The recording at one moment, as it was filmed.
struct SourceFrame {
    PicturePtr screen;
    PicturePtr camera; // null when the reel has none at this time
    Seconds time = 0;  // the source time that was grabbed
};

enum class CameraUse { without, with };

// Single finished frames of a reel: thumbnails, look previews, stills. Every call opens and closes the movies
// it needs; any thread.
class Still {
  public:
    // The frame at a source time, moved into the recording where it lies outside. `camera` is the camera's
    // frame of the same moment; one that cannot be had is left out.
    static Result<SourceFrame> frame(const Project& project, Seconds at, CameraUse camera);

    // Draws a grabbed frame on the canvas that has the given long side.
    static BgraImage render(const SourceFrame& frame, const RecordingEvents& events,
                            const ProjectSettings& settings, int longSide,
                            std::shared_ptr<const BgraImage> wallpaper, Framing framing);

    // Both in one: with the project's own settings when none are given.
    static Result<BgraImage> render(const Project& project, Seconds at, int longSide,
                                    const std::optional<ProjectSettings>& settings, Framing framing,
                                    std::shared_ptr<const BgraImage> wallpaper = nullptr);
};

} // namespace glintro
