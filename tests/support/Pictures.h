#pragma once

#include <algorithm>
#include <cmath>
#include <functional>

#include "core/raster/Convert.h"
#include "core/raster/Picture.h"

namespace glintro::test {

// A recording's frame whose pixels a function gives as R, G, B in 0..255.
struct Rgb {
    int red = 0;
    int green = 0;
    int blue = 0;
};

inline PicturePtr recording(PixelSize size, const std::function<Rgb(int x, int y)>& pixel) {
    BgraImage image(size);
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            const Rgb rgb = pixel(x, y);
            std::uint8_t* bytes = image.row(y) + static_cast<std::ptrdiff_t>(x) * 4;
            bytes[0] = static_cast<std::uint8_t>(rgb.blue);
            bytes[1] = static_cast<std::uint8_t>(rgb.green);
            bytes[2] = static_cast<std::uint8_t>(rgb.red);
            bytes[3] = 255;
        }
    }
    PictureBuffer buffer(PixelLayout::yuv420, size);
    bgraToYuv420(image.pixels.data(), static_cast<std::ptrdiff_t>(image.rowBytes()), buffer);
    return share(std::move(buffer));
}

inline PicturePtr recording(PixelSize size, Rgb colour) {
    return recording(size, [colour](int, int) { return colour; });
}

inline Rgb pixelAt(const BgraImage& image, int x, int y) {
    const std::uint8_t* bytes = image.row(y) + static_cast<std::ptrdiff_t>(x) * 4;
    return {bytes[2], bytes[1], bytes[0]};
}

// The largest difference of any channel.
inline int distance(Rgb a, Rgb b) {
    return std::max({std::abs(a.red - b.red), std::abs(a.green - b.green), std::abs(a.blue - b.blue)});
}

} // namespace glintro::test
