#include "platform/BgraPicture.h"

#include <algorithm>
#include <cmath>

namespace glintro {
namespace {

constexpr int kChannels = 4;

PixelSize sizeWithin(PixelSize size, int maxSide) {
    const int longer = std::max(size.width, size.height);
    if (longer <= maxSide) return size;
    const double scale = static_cast<double>(maxSide) / longer;
    const auto scaled = [scale](int side) {
        return std::max(1, static_cast<int>(std::lround(side * scale)));
    };
    return {scaled(size.width), scaled(size.height)};
}

// The pixels of a line of `from` that one of `to` pixels covers: whole ones, and parts of those at both ends.
struct Span {
    int begin = 0;
    int end = 0;
    double from = 0;
    double to = 0;

    Span(int index, int length, int count) {
        from = static_cast<double>(index) * length / count;
        to = static_cast<double>(index + 1) * length / count;
        begin = static_cast<int>(from);
        end = std::min(length, static_cast<int>(std::ceil(to)));
    }
    // How much of a pixel lies in the span.
    float weight(int pixel) const {
        return static_cast<float>(std::min(to, pixel + 1.0) - std::max(from, static_cast<double>(pixel)));
    }
};

void addRow(const std::uint8_t* row, float weight, std::vector<float>& sums) {
    for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += weight * static_cast<float>(row[i]);
}

void reduceRow(const std::vector<float>& sums, int width, float area, std::uint8_t* pixels, int count) {
    for (int x = 0; x < count; ++x) {
        const Span span(x, width, count);
        float sum[kChannels - 1] = {};
        for (int column = span.begin; column < span.end; ++column) {
            const float* pixel = sums.data() + static_cast<std::ptrdiff_t>(column) * kChannels;
            for (int c = 0; c < kChannels - 1; ++c) sum[c] += span.weight(column) * pixel[c];
        }
        for (const float each : sum) *pixels++ = static_cast<std::uint8_t>(std::lround(each / area));
        *pixels++ = 0xFF;
    }
}

} // namespace

BgraPicture reducedPicture(const std::uint8_t* bgra, std::ptrdiff_t stride, PixelSize size, int maxSide) {
    BgraPicture picture{.size = sizeWithin(size, maxSide), .bgra = {}};
    const auto rowBytes = static_cast<std::size_t>(picture.size.width) * kChannels;
    picture.bgra.resize(rowBytes * static_cast<std::size_t>(picture.size.height));
    const float area = static_cast<float>(size.width) * static_cast<float>(size.height)
                       / static_cast<float>(picture.size.width) / static_cast<float>(picture.size.height);
    std::vector<float> sums(static_cast<std::size_t>(size.width) * kChannels);
    std::uint8_t* pixels = picture.bgra.data();
    for (int y = 0; y < picture.size.height; ++y, pixels += rowBytes) {
        const Span span(y, size.height, picture.size.height);
        std::ranges::fill(sums, 0.0F);
        for (int row = span.begin; row < span.end; ++row) addRow(bgra + row * stride, span.weight(row), sums);
        reduceRow(sums, size.width, area, pixels, picture.size.width);
    }
    return picture;
}

} // namespace glintro
