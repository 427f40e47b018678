#pragma once

#include <memory>
#include <mutex>

#include "core/plan/FramePlan.h"
#include "core/render/Mask.h"
#include "core/render/Sprite.h"

namespace glintro {

// What one thread needs to draw frames: scratch memory and filters that carry over from frame to frame.
struct DrawScratch {
    Resampler screen;
    Resampler camera;
    SpritePainter sprites;
    PictureBuffer cameraSquare{PixelLayout::yuv420, {2, 2}};
};

// Draws the finished frames of a reel: backdrop, recording, pointer and ripples, camera bubble. Built once
// per render from a snapshot of the settings; every member may be called from several threads at once, each
// with its own DrawScratch.
class FrameRenderer {
  public:
    // `sourceSize` is the recording's size in pixels, at least 1 x 1. `wallpaper` may be null.
    FrameRenderer(ProjectSettings settings, Size sourceSize, const RecordingEvents& events,
                  std::shared_ptr<const BgraImage> wallpaper, Framing framing);
    ~FrameRenderer();

    const ProjectSettings& settings() const { return settings_; }
    const ZoomCamera& camera() const { return camera_; }

    FramePlan plan(Seconds sourceTime, PixelSize canvas) const;

    // Draws a plan into a picture of the plan's canvas size, in the picture's own layout. A null screen is
    // drawn black; a null camera, or settings that hide it, leave the bubble out.
    void draw(const FramePlan& plan, const Picture* screen, const Picture* camera, PictureBuffer& canvas,
              DrawScratch& scratch) const;

    // One frame for people.
    BgraImage render(const Picture* screen, const Picture* camera, Seconds sourceTime, PixelSize out) const;

  private:
    struct Bed;
    std::shared_ptr<const Bed> bed(PixelLayout layout, PixelSize canvas) const;
    std::unique_ptr<Bed> makeBed(PixelLayout layout, PixelSize canvas) const;
    static void copySurroundings(const Bed& bed, PictureBuffer& canvas);
    static void drawScreen(const FramePlan& plan, const Picture* screen, PictureBuffer& canvas,
                           DrawScratch& scratch);
    static void drawPointer(const FramePlan& plan, const Bed& bed, PictureBuffer& canvas,
                            DrawScratch& scratch);
    static void roundCorners(const Bed& bed, PictureBuffer& canvas);

    ProjectSettings settings_;
    Size sourceSize_;
    Framing framing_;
    ZoomCamera camera_;
    std::shared_ptr<const BgraImage> wallpaper_;

    mutable std::mutex lock_; // guards bgCache_
    mutable std::shared_ptr<const Bed> bgCache_;
};

} // namespace glintro
