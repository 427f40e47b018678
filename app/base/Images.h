#pragma once

#include <QImage>

#include "core/raster/Picture.h"

namespace glintro {

// A copy as Qt's views show it, opaque.
QImage toImage(const BgraImage& image);

} // namespace glintro
