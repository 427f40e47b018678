#pragma once

#include "core/raster/Plane.h"

namespace glintro {

// Gaussian blur with standard deviation `sigma` in samples, in place; samples outside the plane repeat its
// edge. Wide blurs are computed on a reduced plane, within 0.2 % of full scale of the exact result. The
// result is the same on every machine. Does nothing unless sigma is above zero.
void gaussianBlur(FloatPlane& plane, double sigma);

} // namespace glintro
