#include "core/raster/Blend.h"

#include <algorithm>
#include <cstring>

namespace glintro {
namespace {

int quotientBy255(int value) {
    return (value + 128 + ((value + 128) >> 8)) >> 8;
}

std::uint8_t mix(int over, int under, int mask) {
    return static_cast<std::uint8_t>(quotientBy255(over * mask + under * (255 - mask)));
}

} // namespace

void keepInside(MutablePlaneView destination, PlaneView under, PlaneView mask) {
    for (int y = 0; y < destination.height; ++y) {
        std::uint8_t* const to = destination.row(y);
        for (int x = 0; x < destination.width; ++x) to[x] = mix(to[x], under.row(y)[x], mask.row(y)[x]);
    }
}

void blendMasked(MutablePlaneView destination, PlaneView over, PlaneView mask) {
    for (int y = 0; y < destination.height; ++y) {
        std::uint8_t* const to = destination.row(y);
        for (int x = 0; x < destination.width; ++x) to[x] = mix(over.row(y)[x], to[x], mask.row(y)[x]);
    }
}

void fillMasked(MutablePlaneView destination, std::uint8_t value, PlaneView mask, std::uint8_t opacity) {
    for (int y = 0; y < destination.height; ++y) {
        std::uint8_t* const to = destination.row(y);
        for (int x = 0; x < destination.width; ++x) {
            to[x] = mix(value, to[x], quotientBy255(mask.row(y)[x] * opacity));
        }
    }
}

void blendPremultiplied(MutablePlaneView destination, PlaneView colour, PlaneView alpha,
                        std::uint8_t opacity) {
    for (int y = 0; y < destination.height; ++y) {
        std::uint8_t* const to = destination.row(y);
        for (int x = 0; x < destination.width; ++x) {
            const int kept = 255 - quotientBy255(alpha.row(y)[x] * opacity);
            const int sum = quotientBy255(colour.row(y)[x] * opacity) + quotientBy255(to[x] * kept);
            to[x] = static_cast<std::uint8_t>(std::min(sum, 255));
        }
    }
}

void copyPlane(PlaneView source, MutablePlaneView destination) {
    for (int y = 0; y < destination.height; ++y) {
        std::memcpy(destination.row(y), source.row(y), static_cast<std::size_t>(destination.width));
    }
}

} // namespace glintro
