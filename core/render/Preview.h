#pragma once

#include "core/raster/Picture.h"

namespace glintro {

// A finished picture for people, its longer side at most `longestSide` pixels; never enlarged.
BgraImage previewImage(const Picture& picture, int longestSide);

} // namespace glintro
