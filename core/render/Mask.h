#pragma once

#include "core/base/Geometry.h"
#include "core/raster/Blur.h"
#include "core/raster/Picture.h"

namespace glintro {

// Where a box of a canvas lies in one plane of a picture. `box` must start on even coordinates.
PixelRect planeArea(PixelLayout layout, int plane, PixelRect box);

// The smallest box with even edges around a rectangle in which every sample, also of the chroma planes, that
// the rectangle touches lies, cut to the canvas.
PixelRect evenBox(PixelRect around, PixelSize canvas);
PixelRect evenBox(Rect around, PixelSize canvas);

// An 8-bit coverage of a box of the canvas, in the sizes of a layout's planes. The coverage of a pixel is the
// share of it that the shape covers, by the distance of the pixel's centre to the shape's edge.
class Mask {
  public:
    Mask() = default;
    static Mask roundedRect(PixelLayout layout, PixelRect box, Rect rect, double radius, float strength = 1);
    static Mask blurredRoundedRect(PixelLayout layout, PixelRect box, Rect rect, double radius, double sigma,
                                   float strength);

    PixelRect box() const { return box_; }
    PlaneView plane(int i) const { return i > 0 && chroma_.width() > 0 ? chroma_.view() : full_.view(); }

  private:
    Mask(PixelRect box) : box_(box), full_(box.width, box.height) {}
    void addChroma(PixelLayout layout);

    PixelRect box_;
    Plane full_;
    Plane chroma_; // empty where all planes have full size
};

// The coverage, 0..1, of a blurred rounded rectangle over a box of the canvas; what of the rectangle lies
// beyond the box still counts.
class SoftRoundedRect {
  public:
    SoftRoundedRect(PixelRect box, Rect rect, double radius, double sigma);

    // One object per thread; the shape must outlive it.
    class Reader {
      public:
        explicit Reader(const SoftRoundedRect& shape) : rows_(shape.blurred_), margin_(shape.margin_) {}
        // `count` samples of row y from column x of the box on; valid until the next call.
        const float* row(int y, int x, int count) { return rows_.row(y + margin_, x + margin_, count); }

      private:
        BlurredPicture::Reader rows_;
        int margin_;
    };

  private:
    int margin_; // around the box
    BlurredPicture blurred_;
};

} // namespace glintro
