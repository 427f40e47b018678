#include "core/timeline/SplitIndex.h"

#include <algorithm>
#include <cmath>

#include "core/timeline/Storyboard.h"

namespace glintro {

SplitIndex::SplitIndex(const std::vector<Seconds>& splits) : sorted_(splits) {
    std::erase_if(sorted_, [](Seconds split) { return std::isnan(split); });
    std::ranges::sort(sorted_);
}

bool SplitIndex::contains(Seconds time) const {
    // No split is nearer than the neighbours of the time, also after rounding.
    const auto isNear = [time](Seconds split) { return std::abs(split - time) < Storyboard::kSameMoment; };
    const auto after = std::ranges::lower_bound(sorted_, time);
    return (after != sorted_.end() && isNear(*after)) || (after != sorted_.begin() && isNear(*(after - 1)));
}

} // namespace glintro
