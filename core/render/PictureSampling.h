#pragma once

#include "core/base/Geometry.h"
#include "core/raster/Picture.h"
#include "core/raster/Resample.h"

namespace glintro {

// One axis of a scaled copy: `sourceLength` source pixels from `sourceStart` come to `length` canvas pixels
// from `start`.
struct PixelSpan {
    double sourceStart = 0;
    double sourceLength = 0;
    double start = 0;
    double length = 0;
};

// Draws a 4:2:0 picture, scaled, into `box` (even edges) of a canvas of either layout. Every plane is
// resampled once, straight from its own grid to the destination's, so that chroma stays where the picture has
// it.
void samplePicture(const Picture& source, PixelSpan columns, PixelSpan rows, PictureBuffer& canvas,
                   PixelRect box, Resampler& resampler);

inline PlaneView cropped(PlaneView plane, PixelRect area) {
    return {plane.row(area.y) + area.x, plane.stride, area.width, area.height};
}

} // namespace glintro
