#include <algorithm>
#include <cmath>
#include <utility>

#include "core/raster/Resample.h"

namespace glintro {
namespace {

constexpr double kOne = 1 << 14;

// Keys' cubic convolution with a = -0.5, for the distance x >= 0. Both polynomials are cheap, so both are
// computed and one is selected.
double catmullRom(double x) {
    const double inner = (1.5 * x - 2.5) * x * x + 1;
    const double outer = ((-0.5 * x + 2.5) * x - 4) * x + 2;
    return x < 1 ? inner : x < 2 ? outer : 0;
}

// std::floor and std::lround are calls into the C library, and there are thousands of values in every moving
// frame.
int floorOf(double value) {
    const int truncated = static_cast<int>(value);
    return truncated - (value < truncated ? 1 : 0);
}

// Returns the weights of one destination sample one after the other. Rounding their running total keeps the
// sum exact and every weight within one unit.
class Rounding {
  public:
    explicit Rounding(double sum) : scale_(kOne / sum) {}
    int next(double value) {
        total_ += value * scale_;
        const int before = std::exchange(rounded_, floorOf(total_ + 0.5));
        return rounded_ - before;
    }

  private:
    double scale_;
    double total_ = 0;
    int rounded_ = 0;
};

} // namespace

FilterBank::FilterBank(AxisMap map, int destinationLength, int sourceLength) {
    const double widening = std::max(map.step, 1.0);
    const double support = 2 * widening;
    const int span = static_cast<int>(std::ceil(2 * support));
    taps_ = std::min(span, sourceLength);
    first_.resize(static_cast<std::size_t>(destinationLength));
    weights_.resize(static_cast<std::size_t>(destinationLength) * static_cast<std::size_t>(taps_));
    std::vector<double> kernel(static_cast<std::size_t>(span));

    std::int16_t* weights = weights_.data();
    for (int i = 0; i < destinationLength; ++i, weights += taps_) {
        // Farther out than this, every sample read is the edge.
        const double position = std::clamp(map.origin + i * map.step, -support - 1, sourceLength + support);
        const int start = floorOf(position - support) + 1;
        const int first = std::clamp(start, 0, sourceLength - taps_);
        first_[static_cast<std::size_t>(i)] = first;

        double sum = 0;
        double distance = start - position;
        for (double& value : kernel) {
            value = catmullRom(std::abs(distance) / widening);
            sum += value;
            distance += 1;
        }
        Rounding rounding(sum);
        if (start == first && span == taps_) {
            for (int k = 0; k < span; ++k) {
                weights[k] = static_cast<std::int16_t>(rounding.next(kernel[static_cast<std::size_t>(k)]));
            }
        } else {
            for (int k = 0; k < span; ++k) {
                std::int16_t& weight = weights[std::clamp(start + k, 0, sourceLength - 1) - first];
                const int next = rounding.next(kernel[static_cast<std::size_t>(k)]);
                weight = static_cast<std::int16_t>(weight + next);
            }
        }
    }
}

} // namespace glintro
