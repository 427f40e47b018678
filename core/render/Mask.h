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
PixelRect intersection(PixelRect a, PixelRect b);

// The share of a pixel, 0..1, that a rounded rectangle covers, by the distance of the pixel's centre to its
// edge.
float roundedRectCoverage(Rect rect, double radius, double x, double y);

// An 8-bit coverage of a box of the canvas, in the sizes of a layout's planes.
class Mask {
  public:
    Mask() = default;
    // `coverage` has the size of the box, values 0..1.
    Mask(PixelLayout layout, PixelRect box, const FloatPlane& coverage, float strength);

    static Mask roundedRect(PixelLayout layout, PixelRect box, Rect rect, double radius, float strength = 1);
    // The rounded rectangle blurred; what of it lies beyond the box still counts.
    static Mask blurredRoundedRect(PixelLayout layout, PixelRect box, Rect rect, double radius, double sigma,
                                   float strength);

    PixelRect box() const { return box_; }
    PlaneView plane(int i) const { return i > 0 && chroma_.width() > 0 ? chroma_.view() : full_.view(); }

  private:
    PixelRect box_;
    Plane full_;
    Plane chroma_; // empty where all planes have full size
};

// The coverage of a blurred rounded rectangle over a box, 0..1.
FloatPlane blurredRoundedRectCoverage(PixelRect box, Rect rect, double radius, double sigma);

} // namespace glintro
