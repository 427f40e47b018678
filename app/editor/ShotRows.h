#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "core/timeline/Shot.h"

namespace glintro {

// A shot as a row of the storyboard. The identity stays with a row as long as an edit leaves one of its edges
// where it was; no two rows ever had the same.
struct ShotRow {
    Shot shot;
    Seconds outputStart = 0; // in the finished reel
    std::uint64_t identity = 0;
    bool isSelected = false;
};

// For each of the new shots the index of the old one that it continues: one that starts or ends at the same
// time. Ascending, and no old one twice; `nullopt` for a shot that is new. O(n).
//
//   old   |   0   | 1 |   2   |          old   |   0   |   1   |
//   new   | 0 | - | 1 |   2   |  split   new   | 0 |     1     |  dragged edge
std::vector<std::optional<std::size_t>> continuedShots(const std::vector<ShotRow>& old,
                                                       const std::vector<Shot>& now);

} // namespace glintro
