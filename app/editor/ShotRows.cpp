#include "app/editor/ShotRows.h"

namespace glintro {

// Both lists ascend and do not overlap: whichever shot ends first has no partner to come.
std::vector<std::optional<std::size_t>> continuedShots(const std::vector<ShotRow>& old,
                                                       const std::vector<Shot>& now) {
    std::vector<std::optional<std::size_t>> partners(now.size());
    std::size_t before = 0;
    std::size_t after = 0;
    while (before < old.size() && after < now.size()) {
        const Shot& a = old[before].shot;
        const Shot& b = now[after];
        if (a.start == b.start || a.end == b.end) {
            partners[after++] = before++;
        } else if (a.end < b.end) {
            ++before;
        } else {
            ++after;
        }
    }
    return partners;
}

} // namespace glintro
