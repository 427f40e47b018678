#pragma once

#include <array>

#include "core/base/Geometry.h"
#include "core/raster/Picture.h"
#include "core/raster/Resample.h"

namespace glintro {

// A small bitmap with soft edges, kept in the planes of a layout: its alpha, and its three colour planes
// already multiplied with it. A transparent border of kSpriteBorder samples surrounds the bitmap, so that
// filters that reach over its edge read transparent samples.
inline constexpr int kSpriteBorder = 4;

class Sprite {
  public:
    // `premultiplied` holds B, G, R, A with the colours multiplied by alpha.
    Sprite(PixelLayout layout, const BgraImage& premultiplied);

    PixelSize size() const { return size_; } // without the border
    PlaneView alpha() const { return alpha_.view(); }
    PlaneView colour(int plane) const { return colours_[static_cast<std::size_t>(plane)].view(); }

  private:
    PixelSize size_;
    Plane alpha_;
    std::array<Plane, 3> colours_;
};

// Draws sprites, scaled, with sub-pixel position. Keeps scratch memory; one object per thread.
class SpritePainter {
  public:
    // The bitmap's top left corner comes to `origin` and one of its pixels becomes scale.width x scale.height
    // canvas pixels. Nothing outside `clip` (canvas pixels) is touched. opacity is 0..1.
    void draw(PictureBuffer& canvas, const Sprite& sprite, Point origin, Size scale, double opacity,
              PixelRect clip);

  private:
    void drawPlane(PictureBuffer& canvas, int plane, const Sprite& sprite, PixelRect area, AxisMap horizontal,
                   AxisMap vertical, std::uint8_t opacity);
    MutablePlaneView scratch(Plane& memory, PixelSize size);

    Resampler resampler_;
    Plane alpha_;
    Plane colour_;
};

// The two fixed bitmaps, drawn once per process: premultiplied, 120 x 160 and 256 x 256. Any thread.
const BgraImage& cursorImage();
const BgraImage& rippleImage();

// The same in the planes of a layout, also once per process.
const Sprite& pointerSprite(PixelLayout layout);
const Sprite& rippleSprite(PixelLayout layout);

// The arrow's tip in cursorImage, pixels from its top left.
inline constexpr Point kCursorTip{18, 14};

} // namespace glintro
