#pragma once

#include "core/base/Geometry.h"
#include "core/model/ProjectSettings.h"
#include "core/raster/Picture.h"

namespace glintro {

// Draws what lies behind the recording: solid colour, gradient or the blurred desktop picture, and on it the
// recording's soft shadow. Computed in float and dithered to 8 bits, so that slow gradients do not band.
// `target` is where the recording will lie, `cornerRadius` its corners in canvas pixels. `wallpaper` may be
// null: a wallpaper backdrop then shows the gradient.
PictureBuffer drawBackdrop(const ProjectSettings& settings, PixelLayout layout, PixelSize canvas,
                           PixelRect target, double cornerRadius, const BgraImage* wallpaper);

// The recording's corner radius on a canvas: the setting, scaled, at most half the target's shorter side.
double cornerRadius(const ProjectSettings& settings, PixelSize canvas, PixelRect target);

} // namespace glintro
