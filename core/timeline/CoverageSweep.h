#pragma once

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

#include "core/model/Segments.h"
#include "core/timeline/Ascending.h"

namespace glintro {

enum class Edges { covered, uncovered }; // whether a segment covers its own start and end

// Answers which of many segments covers a time, for times that are asked in ascending order: n segments and m
// times cost O((n + m) log n) instead of n * m. `Wins` orders two list indices: the covering segment is the
// one that wins over all others that hold the time.
template <TimeSegment Segment, class Wins>
class CoverageSweep {
  public:
    CoverageSweep(const std::vector<Segment>& segments, Edges edges, Wins wins)
        : segments_(segments), edges_(edges), loses_{wins}, byStart_(segments.size()) {
        std::iota(byStart_.begin(), byStart_.end(), std::size_t{0});
        std::ranges::sort(byStart_, [&](std::size_t a, std::size_t b) {
            return ascending(segments_[a].start, segments_[b].start);
        });
    }

    // The covering segment, null when there is none. `time` is not before the one asked last.
    const Segment* covering(Seconds time) {
        while (next_ < byStart_.size() && reaches(segments_[byStart_[next_]].start, time)) {
            open_.push_back(byStart_[next_++]);
            std::ranges::push_heap(open_, loses_);
        }
        // Only the winner needs to be current: those below it are looked at when they win.
        while (!open_.empty() && !reaches(time, segments_[open_.front()].end)) {
            std::ranges::pop_heap(open_, loses_);
            open_.pop_back();
        }
        return open_.empty() ? nullptr : &segments_[open_.front()];
    }

  private:
    struct Loses {
        Wins wins;
        bool operator()(std::size_t a, std::size_t b) const { return wins(b, a); }
    };

    bool reaches(Seconds earlier, Seconds later) const {
        return edges_ == Edges::covered ? earlier <= later : earlier < later;
    }

    const std::vector<Segment>& segments_;
    Edges edges_;
    Loses loses_;
    std::vector<std::size_t> byStart_;
    std::size_t next_ = 0;
    std::vector<std::size_t> open_; // a heap of list indices, the winner in front
};

// The first in the list wins.
struct EarlierInList {
    bool operator()(std::size_t a, std::size_t b) const { return a < b; }
};

} // namespace glintro
