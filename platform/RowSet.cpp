#include "platform/RowSet.h"

#include <algorithm>
#include <functional>

namespace glintro {

void RowSet::add(RowRange range) {
    if (range.begin >= range.end) return;
    const auto first = std::ranges::lower_bound(ranges_, range.begin, std::less<>(),
                                                [](const RowRange& r) { return r.end; });
    auto last = first;
    for (; last != ranges_.end() && last->begin <= range.end; ++last) {
        range.begin = std::min(range.begin, last->begin);
        range.end = std::max(range.end, last->end);
    }
    ranges_.insert(ranges_.erase(first, last), range);
}

void RowSet::add(const RowSet& other) {
    addAll(other.ranges_);
}

void RowSet::addAll(const std::vector<RowRange>& ranges) {
    for (const RowRange& range : ranges) add(range);
}

RowSet RowSet::intersected(const RowSet& other) const {
    RowSet both;
    for (const RowRange& a : ranges_) {
        for (const RowRange& b : other.ranges_) {
            both.add({std::max(a.begin, b.begin), std::min(a.end, b.end)});
        }
    }
    return both;
}

RowSet RowSet::bridged(int gap) const {
    RowSet result;
    for (RowRange range : ranges_) {
        if (!result.isEmpty() && range.begin - result.ranges_.back().end < gap) {
            range.begin = result.ranges_.back().end;
        }
        result.add(range);
    }
    return result;
}

} // namespace glintro
