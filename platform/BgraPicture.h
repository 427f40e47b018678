#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/base/Geometry.h"

namespace glintro {

// A picture in memory: rows of B, G, R, x bytes, top to bottom without padding. The fourth byte has no
// meaning unless a function says so.
struct BgraPicture {
    PixelSize size;
    std::vector<std::uint8_t> bgra; // width x height x 4 bytes
    bool operator==(const BgraPicture&) const = default;
};

// The picture with at most `maxSide` pixels (1 or more) along its longer side, its shape kept to the nearest
// pixel and never enlarged: each pixel is the mean of the area it stands for. The fourth byte is 255.
// `stride` is the number of bytes from row to row of `bgra`; `size` is not empty.
BgraPicture reducedPicture(const std::uint8_t* bgra, std::ptrdiff_t stride, PixelSize size, int maxSide);

} // namespace glintro
