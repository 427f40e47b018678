#pragma once

#include <functional>
#include <memory>
#include <stop_token>
#include <utility>

#include "core/media/decode/MovieReader.h"
#include "core/reel/Project.h"
#include "core/render/FrameRenderer.h"

namespace glintro {

// The recording at one moment, as it was filmed.
struct SourceFrame {
    PicturePtr screen;
    PicturePtr webcam; // null when the reel has none at this time
    Seconds time = 0;  // the source time that was asked for, moved into the recording
};

enum class CameraUse { without, with };

struct StillRequest {
    Seconds at = 0; // source time; moved into the recording where it lies outside
    CameraUse camera = CameraUse::without;
    // Of the screen's frame. The webcam's is always a nearby one.
    FrameTolerance tolerance = FrameTolerance::nearby;
    int maxSide = 0; // the longer side of the pictures is at most so many pixels; 0: as recorded
    std::stop_token stop = {};
};

// Any number of pictures of one reel: its movies are opened once and its events read once. For thumbnails,
// scrub frames, the cards of shots, and one moment under several Looks. One thread at a time; the pictures
// may be shared between threads.
class StillSource {
  public:
    using EventsReader = std::function<RecordingEvents()>;

    // Opens the screen movie; fails where that cannot be read. `readEvents` is called at most once, possibly
    // on another thread; without it, the project's own events are read.
    [[nodiscard]] static Result<std::unique_ptr<StillSource>> open(Project project,
                                                                   EventsReader readEvents = {});

    // A webcam frame that cannot be had is left out.
    [[nodiscard]] Result<SourceFrame> grab(const StillRequest& request);

    // Draws a grabbed frame on the canvas that has the given long side, as an export would. From one call to
    // the next, what depends on unchanged settings is kept: pointer paths, backdrop, masks.
    BgraImage draw(const SourceFrame& frame, const ProjectSettings& settings, int longSide,
                   std::shared_ptr<const BgraImage> wallpaper, Framing framing);

    // Both in one, sooner: the backdrop is drawn while the movies decode.
    [[nodiscard]] Result<BgraImage> still(const StillRequest& request, const ProjectSettings& settings,
                                          int longSide, std::shared_ptr<const BgraImage> wallpaper,
                                          Framing framing);

    const MovieProperties& movie() const { return screen_->properties(); }

  private:
    StillSource(Project project, std::unique_ptr<MovieReader> screen, EventsReader readEvents)
        : project_(std::move(project)), screen_(std::move(screen)), readEvents_(std::move(readEvents)) {}
    PicturePtr webcamFrame(const StillRequest& request, Seconds sourceTime);
    const FrameRenderer& rendererFor(const ProjectSettings& settings, PixelSize source,
                                     std::shared_ptr<const BgraImage> wallpaper, Framing framing);

    Project project_;
    std::unique_ptr<MovieReader> screen_;
    std::unique_ptr<MovieReader> webcam_; // opened at the first use; null when it cannot be read
    bool hasTriedWebcam_ = false;

    EventsReader readEvents_;
    std::shared_ptr<const RecordingEvents> events_; // null until they are needed first
    std::shared_ptr<const FrameRenderer> renderer_; // of the last picture, with what it was made for:
    PixelSize source_;
    std::shared_ptr<const BgraImage> wallpaper_;
    Framing framing_ = Framing::fit;
};

// The whole of a picture as BGRA, without anything drawn around it: a scrub frame, for instance.
BgraImage plainImage(const Picture& picture);

} // namespace glintro
