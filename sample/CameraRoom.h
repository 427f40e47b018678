#pragma once

#include "sample/Canvas.h"

namespace glintro::sample {

// The room behind the presenter, out of focus as behind a wide aperture.
SurfacePtr blurredRoom(PixelSize size);

// The window's light over the whole picture, to be laid over what the room and the person are.
SurfacePtr windowLight(PixelSize size);

// Small helpers of both, all in the surface's own units.
void setSource(cairo_t* context, Colour colour);
void ellipse(cairo_t* context, Point middle, double across, double down); // adds to the path
void fillRect(cairo_t* context, Rect area, Colour colour);
// Light or shade that fades out from the middle.
void glow(cairo_t* context, Point middle, double radius, Colour colour);

} // namespace glintro::sample
