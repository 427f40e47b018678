#include "core/raster/Blur.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace glintro {

void gaussianBlur(FloatPlane& plane, double sigma) {
    if (sigma <= 0) return;
    const int radius = static_cast<int>(std::ceil(3.5 * sigma));
    std::vector<float> weights(static_cast<std::size_t>(2 * radius + 1));
    double sum = 0;
    for (int k = -radius; k <= radius; ++k) sum += std::exp(-0.5 * (k / sigma) * (k / sigma));
    for (int k = -radius; k <= radius; ++k) {
        weights[static_cast<std::size_t>(k + radius)] =
            static_cast<float>(std::exp(-0.5 * (k / sigma) * (k / sigma)) / sum);
    }
    const int width = plane.width();
    const int height = plane.height();
    FloatPlane across(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            float value = 0;
            for (int k = -radius; k <= radius; ++k) {
                value += weights[static_cast<std::size_t>(k + radius)]
                         * plane.row(y)[std::clamp(x + k, 0, width - 1)];
            }
            across.row(y)[x] = value;
        }
    }
    for (int y = 0; y < height; ++y) {
        float* const to = plane.row(y);
        std::fill(to, to + width, 0.0F);
        for (int k = -radius; k <= radius; ++k) {
            const float weight = weights[static_cast<std::size_t>(k + radius)];
            const float* const from = across.row(std::clamp(y + k, 0, height - 1));
            for (int x = 0; x < width; ++x) to[x] += weight * from[x];
        }
    }
}

} // namespace glintro
