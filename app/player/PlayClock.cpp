#include "app/player/PlayClock.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace glintro {
namespace {

// In host time. What jitters stays far below it, and seen or heard apart would be more.
constexpr Seconds kJump = 0.04;
// The share of a difference that one report corrects: with sixty reports a second, most of it in 0.2 s.
constexpr double kGain = 0.1;

} // namespace

void PlayClock::standAt(Seconds compositionTime) {
    isRunning_ = false;
    anchor_ = compositionTime;
}

void PlayClock::runFrom(Seconds compositionTime, Seconds hostTime, double rate) {
    isRunning_ = true;
    anchor_ = compositionTime;
    anchorHost_ = hostTime;
    rate_ = rate;
}

void PlayClock::steer(Seconds heard, Seconds hostTime) {
    if (!isRunning_) return;
    const Seconds now = at(hostTime);
    const Seconds difference = heard - now;
    if (std::abs(difference) > kJump * rate_) return runFrom(heard, hostTime, rate_);
    // What has passed since the last report is more than what is corrected, else time would go back.
    const Seconds passed = now - anchor_;
    runFrom(now + std::max(difference * kGain, -passed), hostTime, rate_);
}

Seconds PlayClock::at(Seconds hostTime) const {
    if (!isRunning_) return anchor_;
    return anchor_ + std::max(hostTime - anchorHost_, 0.0) * rate_;
}

Seconds PlayClock::hostTimeOf(Seconds compositionTime) const {
    if (isRunning_) return anchorHost_ + (compositionTime - anchor_) / rate_;
    constexpr Seconds kNever = std::numeric_limits<Seconds>::infinity();
    return compositionTime <= anchor_ ? -kNever : kNever;
}

} // namespace glintro
