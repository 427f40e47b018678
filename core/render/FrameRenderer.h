#pragma once

#include <cstdint>
#include <future>
#include <memory>
#include <mutex>

#include "core/model/RecordingEvents.h"
#include "core/plan/FramePlan.h"
#include "core/render/Sprite.h"
#include "core/render/StaticLayers.h"

namespace glintro {

// What one thread needs to draw frames: scratch memory and filters that carry over from frame to frame, also
// between renderers.
struct DrawScratch {
    Resampler screen;
    Resampler webcam;
    SpritePainter sprites;
    PictureBuffer webcamSquare{PixelLayout::yuv420, {2, 2}};
    PictureBuffer planes{PixelLayout::rgb444, {2, 2}}; // of a frame before it is interleaved
};

// What a reel's frames are made from besides its settings. Shared: nothing is copied for another renderer.
struct RenderSource {
    Size size;                                       // of the recording in pixels, at least 1 x 1
    std::shared_ptr<const RecordingEvents> events;   // null for none
    std::shared_ptr<const BgraImage> wallpaper = {}; // null for none
};

// Draws the finished frames of a reel: backdrop, recording, pointer and ripples, webcam bubble. Built from a
// snapshot of the settings, which never change; every member may be called from several threads at once, each
// with its own DrawScratch.
//
// It consists of three parts that renderers share: the tracks (pointer paths, zoom camera), the static layers
// of a canvas, and the sprites. An editor makes the renderer of changed settings by with(), which computes
// only what depends on the change.
class FrameRenderer {
  public:
    FrameRenderer(ProjectSettings settings, RenderSource source, Framing framing);
    // The same with events and wallpaper of its own. `wallpaper` may be null.
    FrameRenderer(ProjectSettings settings, Size sourceSize, RecordingEvents events,
                  std::shared_ptr<const BgraImage> wallpaper, Framing framing);

    // The renderer of other settings for the same source. It keeps the tracks unless smoothing, zooms or
    // following changed, and those static layers whose settings are the same. Draws exactly what a renderer
    // made for these settings alone would draw.
    std::shared_ptr<const FrameRenderer> with(ProjectSettings settings) const;
    // With another wallpaper, which is loaded later than the first frame is wanted. May be null.
    std::shared_ptr<const FrameRenderer> with(std::shared_ptr<const BgraImage> wallpaper) const;

    const ProjectSettings& settings() const { return settings_; }
    const ZoomCamera& zoomCamera() const { return *zoomCamera_; }

    FramePlan plan(Seconds sourceTime, PixelSize canvas) const;

    // Draws a plan into a picture of the plan's canvas size, in the picture's own layout. A null screen is
    // drawn black; a null webcam, or settings that hide it, leave the bubble out.
    void draw(const FramePlan& plan, const Picture* screen, const Picture* webcam, PictureBuffer& canvas,
              DrawScratch& scratch) const;

    // Renders one BGRA frame. The second form draws into the caller's memory, whose size is the canvas; with
    // the same scratch for each frame it allocates nothing.
    BgraImage render(const Picture* screen, const Picture* webcam, Seconds sourceTime,
                     PixelSize canvas) const;
    void render(const Picture* screen, const Picture* webcam, Seconds sourceTime, BgraView target,
                DrawScratch& scratch) const;

    // The static layers of a canvas: those of the canvas asked for last are kept. They are built outside the
    // lock; who asks for them meanwhile waits for that one building.
    std::shared_ptr<const StaticLayers> layers(PixelLayout layout, PixelSize canvas) const;

  private:
    using LayersPtr = std::shared_ptr<const StaticLayers>;
    struct LayersSlot {
        PixelLayout layout{};
        PixelSize canvas;
        std::shared_future<LayersPtr> layers; // invalid before the first frame, and after a failure
    };

    FrameRenderer(ProjectSettings settings, RenderSource source, Framing framing,
                  std::shared_ptr<const ZoomCamera> zoomCamera, LayersPtr previous);
    LayersPtr lastLayers() const;

    ProjectSettings settings_;
    RenderSource source_;
    Framing framing_;
    std::shared_ptr<const ZoomCamera> zoomCamera_;

    mutable std::mutex mutex_; // guards what follows
    mutable LayersSlot slot_;
    mutable std::uint64_t buildings_ = 0; // so far; tells whether the slot is still that of one of them
    mutable LayersPtr previous_; // the last layers that were built, here or before with(): pieces are shared
};

} // namespace glintro
