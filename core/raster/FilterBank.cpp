#include <algorithm>
#include <cmath>

#include "core/raster/Resample.h"

namespace glintro {
namespace {

constexpr double kOne = 1 << 14;

// Keys' cubic convolution with a = -0.5, for the distance x >= 0.
double catmullRom(double x) {
    if (x < 1) return (1.5 * x - 2.5) * x * x + 1;
    if (x < 2) return ((-0.5 * x + 2.5) * x - 4) * x + 2;
    return 0;
}

} // namespace

FilterBank::FilterBank(AxisMap map, int destinationLength, int sourceLength) {
    const double widening = std::max(map.step, 1.0);
    const double support = 2 * widening;
    const int span = static_cast<int>(std::ceil(2 * support));
    taps_ = std::min(span, sourceLength);
    first_.resize(static_cast<std::size_t>(destinationLength));
    weights_.assign(static_cast<std::size_t>(destinationLength) * static_cast<std::size_t>(taps_), 0);
    std::vector<double> kernel(static_cast<std::size_t>(span));

    for (int i = 0; i < destinationLength; ++i) {
        // Farther out than this, every sample read is the edge anyhow.
        const double position = std::clamp(map.origin + i * map.step, -support - 1, sourceLength + support);
        const int start = static_cast<int>(std::floor(position - support)) + 1;
        double sum = 0;
        for (int k = 0; k < span; ++k) {
            kernel[static_cast<std::size_t>(k)] = catmullRom(std::abs(start + k - position) / widening);
            sum += kernel[static_cast<std::size_t>(k)];
        }
        const int first = std::clamp(start, 0, sourceLength - taps_);
        first_[static_cast<std::size_t>(i)] = first;
        std::int16_t* const weights =
            weights_.data() + static_cast<std::size_t>(i) * static_cast<std::size_t>(taps_);
        // Rounding the running total keeps the sum exact and every weight within one unit.
        double total = 0;
        int rounded = 0;
        for (int k = 0; k < span; ++k) {
            total += kernel[static_cast<std::size_t>(k)] * (kOne / sum);
            const int next = static_cast<int>(std::lround(total));
            std::int16_t& weight = weights[std::clamp(start + k, 0, sourceLength - 1) - first];
            weight = static_cast<std::int16_t>(weight + next - rounded);
            rounded = next;
        }
    }
}

} // namespace glintro
