#include "core/timeline/PauseClock.h"

#include <algorithm>
#include <limits>

namespace glintro {

bool PauseClock::isPaused() const {
    return !gaps.empty() && !gaps.back().end;
}

void PauseClock::pause(Seconds at) {
    if (!isPaused()) gaps.push_back({at, std::nullopt});
}

void PauseClock::resume(Seconds at) {
    if (isPaused()) gaps.back().end = std::max(gaps.back().start, at);
}

bool PauseClock::isInPause(Seconds time) const {
    return std::ranges::any_of(gaps, [time](const Gap& gap) {
        return gap.start <= time && time < gap.end.value_or(std::numeric_limits<Seconds>::infinity());
    });
}

Seconds PauseClock::paused(Seconds before) const {
    Seconds sum = 0;
    for (const Gap& gap : gaps) {
        if (gap.start < before) sum += std::min(gap.end.value_or(before), before) - gap.start;
    }
    return sum;
}

std::optional<Seconds> PauseClock::shifted(Seconds time) const {
    if (isInPause(time)) return std::nullopt;
    return time - paused(time);
}

} // namespace glintro
