#include "app/recording/TakeClock.h"

#include <cmath>

namespace glintro {
namespace {

constexpr Seconds kTrustedStamp = 1;
constexpr Seconds kLongestHold = 2;

} // namespace

void TakeClock::begin(Seconds stamp, Seconds now) {
    hasBegun_ = true;
    firstShiftedStamp_ = stamp - pauses_.paused(stamp);
    const bool isOnHostClock = std::abs(firstShiftedStamp_ - now) < kTrustedStamp;
    firstHostTime_ = isOnHostClock ? stamp : now;
    firstShiftedTime_ = isOnHostClock ? firstShiftedStamp_ : now;
}

std::optional<Seconds> TakeClock::recordedTime(Seconds stamp) const {
    const auto shifted = pauses_.shifted(stamp);
    return shifted ? std::optional(*shifted - firstShiftedStamp_) : std::nullopt;
}

Seconds TakeClock::endTime(Seconds lastRecordedTime, Seconds now) const {
    const Seconds end = now - pauses_.paused(now) - firstShiftedStamp_;
    const bool isHeld = end > lastRecordedTime && end - lastRecordedTime < kLongestHold;
    return isHeld ? end : lastRecordedTime;
}

} // namespace glintro
