#include "app/recording/SampleStretcher.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <numeric>

namespace glintro {
namespace {

constexpr std::size_t kReach = 8; // samples to either side that count
// Behind a position, with the sample that rounding it may reach.
constexpr std::size_t kAhead = kReach + 1;
constexpr std::size_t kTaps = 2 * kReach;
constexpr std::size_t kPhases = 512;

using Taps = std::array<float, kTaps>;
using Kernel = std::array<Taps, kPhases>;

double windowedSinc(double x) {
    constexpr double kPi = std::numbers::pi;
    if (std::abs(x) < 1e-9) return 1;
    if (std::abs(x) >= kReach) return 0;
    const double around = kPi * x / kReach;
    const double blackman = 0.42 + 0.5 * std::cos(around) + 0.08 * std::cos(2 * around);
    return std::sin(kPi * x) / (kPi * x) * blackman;
}

// Tap i weighs the sample i - (kReach - 1) after the one at or before the position.
Taps tapsAt(double phase) {
    std::array<double, kTaps> exact{};
    for (std::size_t i = 0; i < kTaps; ++i)
        exact[i] = windowedSinc(static_cast<double>(i) - (kReach - 1) - phase);
    const double sum = std::accumulate(exact.begin(), exact.end(), 0.0);
    Taps taps{};
    std::ranges::transform(exact, taps.begin(), [sum](double tap) { return static_cast<float>(tap / sum); });
    return taps;
}

const Kernel& kernel() {
    static const Kernel made = [] {
        Kernel result{};
        for (std::size_t i = 0; i < kPhases; ++i) result[i] = tapsAt(static_cast<double>(i) / kPhases);
        return result;
    }();
    return made;
}

} // namespace

void SampleStretcher::restart(std::size_t skip) {
    input_.assign(kReach, 0);
    position_ = static_cast<double>(kReach + skip);
}

void SampleStretcher::append(std::span<const float> samples) {
    input_.insert(input_.end(), samples.begin(), samples.end());
}

void SampleStretcher::read(double speed, std::vector<float>& output) {
    for (; position_ + kAhead < static_cast<double>(input_.size()); position_ += speed) {
        // Rounded to the nearest phase, which may be the next sample's first.
        const auto fine = static_cast<std::size_t>(std::llround(position_ * kPhases));
        const Taps& taps = kernel()[fine % kPhases];
        const float* from = input_.data() + fine / kPhases - (kReach - 1);
        output.push_back(std::inner_product(taps.begin(), taps.end(), from, 0.0F));
    }
    const auto done = std::min(static_cast<std::size_t>(position_), input_.size()) - kReach;
    input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(done));
    position_ -= static_cast<double>(done);
}

void SampleStretcher::drain(double speed, std::vector<float>& output) {
    const std::array<float, kAhead> silence{};
    append(silence);
    read(speed, output);
    restart(0);
}

double SampleStretcher::left() const {
    return static_cast<double>(input_.size()) - position_;
}

} // namespace glintro
