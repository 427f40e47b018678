#pragma once

#include "core/raster/Plane.h"

namespace glintro {

// Gaussian blur with standard deviation `sigma` in samples, in place; samples outside the plane repeat its
// edge. Wide blurs are computed on a reduced plane, within 0.2 % of full scale of the exact result. sigma <=
// 0 does nothing.
void gaussianBlur(FloatPlane& plane, double sigma);

} // namespace glintro
