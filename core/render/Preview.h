#pragma once

#include "core/raster/Picture.h"

namespace glintro {

// A finished picture as BGRA, its longer side at most `longestSide` pixels (at least 1); never enlarged.
BgraImage previewImage(const Picture& picture, int longestSide);

} // namespace glintro
