#pragma once

#include "core/render/FrameRenderer.h"
#include "core/render/ReelComposition.h"

namespace glintro {

// One frame of the finished reel, before it is drawn. Equal frames give the same picture.
struct ReelFrame {
    FramePlan plan;
    PicturePtr screen;
    PicturePtr webcam; // null: no bubble in this frame
    bool operator==(const ReelFrame&) const = default;
};

// Turns composition times into frames to draw: maps the time to the source, decodes the source frames and
// plans the drawing. Ascending times decode each movie once, front to back. One thread at a time; reel and
// renderer must outlive it.
class ReelCompositor {
  public:
    ReelCompositor(ReelComposition& reel, const FrameRenderer& renderer, PixelSize canvas)
        : reel_(reel), renderer_(renderer), canvas_(canvas) {}

    // Fails where the screen movie cannot be read. A webcam movie that turns out to be broken is left out.
    [[nodiscard]] Result<ReelFrame> frameAt(Seconds compositionTime);

  private:
    PicturePtr webcamAt(Seconds sourceTime);

    ReelComposition& reel_;
    const FrameRenderer& renderer_;
    PixelSize canvas_;
};

} // namespace glintro
