#include "core/plan/ClickTrack.h"

#include <algorithm>
#include <cmath>

namespace glintro {

ClickTrack::ClickTrack(const std::vector<EventSample>& clicks) {
    clicks_.reserve(clicks.size());
    for (const EventSample& sample : clicks) {
        if (sample.complete() && std::isfinite(sample.sourceTime()))
            clicks_.push_back({sample.sourceTime(), sample.position()});
    }
    std::ranges::stable_sort(clicks_, {}, &Click::sourceTime);
}

std::span<const Click> ClickTrack::between(Seconds from, Seconds to) const {
    const auto first = std::ranges::lower_bound(clicks_, from, {}, &Click::sourceTime);
    const auto last = std::ranges::upper_bound(first, clicks_.end(), to, {}, &Click::sourceTime);
    return {first, last};
}

const Click* ClickTrack::lastBefore(Seconds sourceTime) const {
    const auto after = std::ranges::upper_bound(clicks_, sourceTime, {}, &Click::sourceTime);
    return after == clicks_.begin() ? nullptr : &*(after - 1);
}

} // namespace glintro
