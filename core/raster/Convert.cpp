#include "core/raster/Convert.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace glintro {
namespace {

// Luma weights of ITU-R BT.709-6.
constexpr float kRed = 0.2126F;
constexpr float kGreen = 0.7152F;
constexpr float kBlue = 0.0722F;

// x * y / 2^15 rounded, on 16 bits: what the vector instruction does.
int multiply15(int x, int y) {
    return (x * y + (1 << 14)) >> 15;
}

std::uint8_t clampToByte(int value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, 255));
}

} // namespace

PlaneColour planeColour(PixelLayout layout, float red, float green, float blue) {
    if (layout == PixelLayout::rgb444) return {{red * 255, green * 255, blue * 255}};
    const float luma = kRed * red + kGreen * green + kBlue * blue;
    return {
        {16 + 219 * luma, 128 + 112 * (blue - luma) / (1 - kBlue), 128 + 112 * (red - luma) / (1 - kRed)}};
}

void yuvToRgb(MutablePlaneView first, MutablePlaneView second, MutablePlaneView third) {
    for (int y = 0; y < first.height; ++y) {
        for (int x = 0; x < first.width; ++x) {
            const int luma = multiply15((first.row(y)[x] - 16) * 128, 19077) + 32;
            const int cb = (second.row(y)[x] - 128) * 256;
            const int cr = (third.row(y)[x] - 128) * 256;
            first.row(y)[x] = clampToByte((luma + multiply15(cr, 14686)) >> 6);
            second.row(y)[x] = clampToByte((luma - multiply15(cb, 1747) - multiply15(cr, 4366)) >> 6);
            third.row(y)[x] = clampToByte((luma + multiply15(cb, 17305)) >> 6);
        }
    }
}

BgraImage toBgra(const Picture& picture) {
    BgraImage image(picture.size);
    for (int y = 0; y < picture.size.height; ++y) {
        std::uint8_t* to = image.row(y);
        for (int x = 0; x < picture.size.width; ++x, to += 4) {
            to[0] = picture.planes[2].row(y)[x];
            to[1] = picture.planes[1].row(y)[x];
            to[2] = picture.planes[0].row(y)[x];
            to[3] = 255;
        }
    }
    return image;
}

void bgraToYuv420(const std::uint8_t* bgra, std::ptrdiff_t strideBytes, PictureBuffer& destination) {
    const auto [width, height] = destination.size();
    const auto pixel = [=](int x, int y) {
        return bgra + std::min(y, height - 1) * strideBytes + std::clamp(x, 0, width - 1) * 4;
    };
    const MutablePlaneView luma = destination.plane(0);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const std::uint8_t* const p = pixel(x, y);
            const int value =
                multiply15(p[2] * 128, 5983) + multiply15(p[1] * 128, 20127) + multiply15(p[0] * 128, 2032);
            luma.row(y)[x] = static_cast<std::uint8_t>(16 + ((value + 64) >> 7));
        }
    }
    for (int y = 0; y < chromaExtent(height); ++y) {
        for (int x = 0; x < chromaExtent(width); ++x) {
            std::array<int, 3> sum{};
            for (int row = 2 * y; row < 2 * y + 2; ++row) {
                for (std::size_t i = 0; i < 3; ++i) {
                    sum[i] +=
                        16 * (pixel(2 * x - 1, row)[i] + 2 * pixel(2 * x, row)[i] + pixel(2 * x + 1, row)[i]);
                }
            }
            const int cb = multiply15(sum[2], -3298) + multiply15(sum[1], -11094) + multiply15(sum[0], 14392);
            const int cr = multiply15(sum[2], 14392) + multiply15(sum[1], -13072) + multiply15(sum[0], -1320);
            destination.plane(1).row(y)[x] = static_cast<std::uint8_t>(128 + ((cb + 64) >> 7));
            destination.plane(2).row(y)[x] = static_cast<std::uint8_t>(128 + ((cr + 64) >> 7));
        }
    }
}

void ditherRow(const float* samples, int count, int x, int y, std::uint8_t* destination) {
    for (int i = 0; i < count; ++i) {
        // Bayer's matrix: the bits of x ^ y and y, interleaved, the lowest bits weighing most.
        unsigned threshold = 0;
        const unsigned column = static_cast<unsigned>(x + i);
        const unsigned row = static_cast<unsigned>(y);
        for (unsigned bit = 0; bit < 3; ++bit) {
            threshold = threshold * 4 + (((column ^ row) >> bit & 1U) * 2 + (row >> bit & 1U));
        }
        const float value = std::floor(samples[i] + (static_cast<float>(threshold) + 0.5F) / 64);
        destination[i] = static_cast<std::uint8_t>(std::clamp(value, 0.0F, 255.0F));
    }
}

void reduceMaskToChroma(PlaneView mask, MutablePlaneView destination) {
    for (int y = 0; y < destination.height; ++y) {
        for (int x = 0; x < destination.width; ++x) {
            int sum = 4;
            for (int row = 2 * y; row < 2 * y + 2; ++row) {
                const std::uint8_t* const from = mask.row(std::min(row, mask.height - 1));
                sum += from[std::max(2 * x - 1, 0)] + 2 * from[2 * x]
                       + from[std::min(2 * x + 1, mask.width - 1)];
            }
            destination.row(y)[x] = static_cast<std::uint8_t>(sum >> 3);
        }
    }
}

} // namespace glintro
