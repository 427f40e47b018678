#pragma once

#include "core/base/Geometry.h"
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

// The coverage of a box, 0..1, computed with a margin around it.
struct Coverage {
    FloatPlane plane;
    int margin = 0;
    // Row y of the box; kRowAlignment bytes after its last sample may be read.
    const float* row(int y) const { return plane.row(y + margin) + margin; }
};

// The coverage of a blurred rounded rectangle over a box; what of it lies beyond the box still counts.
Coverage blurredRoundedRect(PixelRect box, Rect rect, double radius, double sigma);

} // namespace glintro
