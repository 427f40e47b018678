#include "app/recording/ChangedRows.h"

#include <algorithm>

namespace glintro {
namespace {

std::vector<RowRange> united(std::vector<RowRange> one, const std::vector<RowRange>& other) {
    one.insert(one.end(), other.begin(), other.end());
    std::ranges::sort(one, {}, &RowRange::begin);
    std::vector<RowRange> result;
    for (const RowRange& range : one) {
        if (!result.empty() && range.begin <= result.back().end)
            result.back().end = std::max(result.back().end, range.end);
        else
            result.push_back(range);
    }
    return result;
}

} // namespace

void ChangedRows::carry(ScreenFrame& frame) const {
    // A frame of another size is changed everywhere by itself.
    if (!owed_.empty() && frame.size == size_) frame.changed = united(std::move(frame.changed), owed_);
}

void ChangedRows::owe(const ScreenFrame& frame) {
    owed_ = frame.changed;
    size_ = frame.size;
}

} // namespace glintro
