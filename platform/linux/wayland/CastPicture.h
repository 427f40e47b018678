#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "core/base/Geometry.h"
#include "platform/ScreenStream.h"

namespace glintro {

// One picture in a buffer of the compositor, borrowed for the length of a call.
struct CastPicture {
    enum class Order { bgrx, rgbx };

    PixelSize size;
    const std::uint8_t* pixels = nullptr;
    std::ptrdiff_t stride = 0;
    Order order = Order::bgrx;
    Seconds hostTime = 0;
    // The rows that differ from the picture before; nullopt when the compositor does not tell.
    std::optional<std::vector<RowRange>> damage = {};
    // Bytes from a pixel to the one at its right. For a rotated screen it is not 4; it and the stride may
    // then be negative.
    std::ptrdiff_t step = 4;
};

} // namespace glintro
