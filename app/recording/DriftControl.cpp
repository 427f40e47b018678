#include "app/recording/DriftControl.h"

#include <algorithm>

namespace glintro {
namespace {

constexpr Seconds kWindow = 1;
// Inaudible, and stamps are no better.
constexpr Seconds kTolerance = 0.001;
// Critically damped, with a time constant of some seconds: the integral gain is the square of half the gain.
constexpr double kGain = 1.0 / 8;
constexpr double kIntegralGain = kGain * kGain / 4;
// Three cents; device clocks are off by less than a tenth of it.
constexpr double kLargestCorrection = 0.002;

double limited(double correction) {
    return std::clamp(correction, -kLargestCorrection, kLargestCorrection);
}

} // namespace

void DriftControl::observe(Seconds error, Seconds duration) {
    errors_.push_back(error);
    observed_ += duration;
    if (observed_ < kWindow) return;
    const auto middle = errors_.begin() + static_cast<std::ptrdiff_t>(errors_.size() / 2);
    std::ranges::nth_element(errors_, middle);
    correct(*middle, observed_);
    errors_.clear();
    observed_ = 0;
}

void DriftControl::correct(Seconds error, Seconds duration) {
    const Seconds beyond = error - std::clamp(error, -kTolerance, kTolerance);
    proportional_ = limited(kGain * beyond);
    integral_ = limited(integral_ + kIntegralGain * beyond * duration);
}

void DriftControl::errorWasCorrected() {
    errors_.clear();
    observed_ = 0;
    proportional_ = 0;
}

} // namespace glintro
