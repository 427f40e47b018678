#pragma once

#include "core/plan/FramePlan.h"
#include "core/raster/Resample.h"
#include "core/render/Mask.h"

namespace glintro {

// The webcam bubble of one canvas: the presenter's picture in a circle or rounded square, a white ring around
// it and a shadow below. Holds the masks, which do not change from frame to frame.
class Bubble {
  public:
    Bubble(PixelLayout layout, PixelSize canvas, const BubblePlan& plan);

    // Draws the central square of the webcam's picture. `square` is memory kept by the caller between frames.
    void draw(const Picture& webcam, PictureBuffer& canvas, Resampler& resampler,
              PictureBuffer& square) const;

  private:
    BubblePlan plan_;
    Mask shadow_;
    Mask ring_;
    Mask picture_;
};

} // namespace glintro
