#pragma once

#include <array>
#include <cstdint>

#include "core/base/Geometry.h"
#include "core/raster/Picture.h"

namespace glintro {

// The desktop picture scaled to cover a canvas and centred on it, in rgb444 planes. Where the picture is
// larger than the canvas, up to `reach` pixels beyond each edge are kept, for a blur to reach into.
struct WallpaperCover {
    PictureBuffer planes;
    int left = 0; // of the canvas's first pixel in the planes
    int top = 0;
};

// `picture` is at least 1 x 1.
WallpaperCover coverCanvas(const BgraImage& picture, PixelSize canvas, int reach);

// Three full-size planes of a canvas in the colours of a layout, in 1/256 of an 8-bit step: fine enough to be
// dithered, so that a blurred picture does not band.
using FinePicture = std::array<BasicPlane<std::uint16_t>, 3>;

// The wallpaper backdrop: blurred with standard deviation `sigma` in pixels, beyond the picture's edges as if
// they repeated, then darkened and cut to the canvas.
FinePicture blurredWallpaper(const WallpaperCover& cover, PixelLayout layout, PixelSize canvas, double sigma);

} // namespace glintro
