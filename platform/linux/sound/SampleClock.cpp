#include "platform/linux/sound/SampleClock.h"

#include <algorithm>
#include <cmath>

namespace glintro {
namespace {

// No lump of samples is that long; what stays late by more has lost samples on its way.
constexpr Seconds kFarOff = 0.04;
constexpr Seconds kLateForGood = 0.3;
// More than that is no drift but a first guess that was wrong.
constexpr Seconds kWrong = 0.01;
constexpr double kDriftLimit = 0.01;
constexpr double kCatchUpLimit = 0.5; // well below 1, so that times still ascend

} // namespace

void SlidingMinimum::add(Seconds hostTime, double value) {
    while (!entries_.empty() && entries_.back().value >= value) entries_.pop_back();
    entries_.push_back({hostTime, value});
    while (entries_.front().hostTime < hostTime - length_) entries_.pop_front();
}

std::optional<double> SlidingMinimum::value() const {
    return entries_.empty() ? std::nullopt : std::optional(entries_.front().value);
}

void SampleClock::reportLatency(Seconds latency, Seconds hostTime) {
    latencies_.add(hostTime, latency);
}

void SampleClock::arrived(std::size_t count, Seconds hostTime) {
    const auto arrivedInAll = static_cast<double>(consumed_) + static_cast<double>(count);
    const Seconds offset = hostTime - arrivedInAll / rate_;
    noteLateness(offset, hostTime);
    arrivals_.add(hostTime, offset);
}

// A delay passes, at once or bit by bit; samples that are missing make all later ones late by the same.
void SampleClock::noteLateness(Seconds offset, Seconds hostTime) {
    const auto earliest = arrivals_.value();
    if (!earliest || offset <= *earliest + kFarOff) {
        late_.reset();
    } else if (!late_ || offset < late_->offset - kWrong) {
        late_ = {hostTime, offset};
    } else if (hostTime - late_->since > kLateForGood) {
        interrupted();
    }
}

void SampleClock::interrupted() {
    arrivals_.clear();
    late_.reset();
    jumps_ = true;
}

Seconds SampleClock::consume(std::size_t count) {
    const Seconds duration = static_cast<double>(count) / rate_;
    if (const auto arrival = arrivals_.value()) follow(*arrival - latencies_.value().value_or(0), duration);
    const Seconds time = offset_.value_or(0) + static_cast<double>(consumed_) / rate_;
    consumed_ += static_cast<std::int64_t>(count);
    return time;
}

void SampleClock::follow(Seconds measured, Seconds duration) {
    if (!offset_) {
        offset_ = measured;
    } else if (jumps_) {
        offset_ = std::max(*offset_, measured);
    } else {
        const Seconds error = measured - *offset_;
        const Seconds limit = duration * (std::abs(error) > kWrong ? kCatchUpLimit : kDriftLimit);
        *offset_ += std::clamp(error, -limit, limit);
    }
    jumps_ = false;
}

} // namespace glintro
