#pragma once

#include <cstdint>

#include "core/raster/Plane.h"

// Blending of 8-bit planes. All planes of one call have the size of the destination. Opacities and masks are
// 0..255 with 255 opaque; every result is the exact quotient by 255, rounded to nearest, on every machine.
namespace glintro {

// destination = destination * mask + under * (255 - mask): keeps the destination where the mask is white.
void keepInside(MutablePlaneView destination, PlaneView under, PlaneView mask);

// destination = over * mask + destination * (255 - mask).
void blendMasked(MutablePlaneView destination, PlaneView over, PlaneView mask);

// destination = value * (mask * opacity) + destination * (255 - mask * opacity), mask * opacity rounded
// first.
void fillMasked(MutablePlaneView destination, std::uint8_t value, PlaneView mask, std::uint8_t opacity);

// A sprite whose samples are already multiplied with its alpha:
// destination = colour * opacity + destination * (255 - alpha * opacity), both products rounded first, the
// sum clamped to 255.
void blendPremultiplied(MutablePlaneView destination, PlaneView colour, PlaneView alpha,
                        std::uint8_t opacity);

void copyPlane(PlaneView source, MutablePlaneView destination);

} // namespace glintro
