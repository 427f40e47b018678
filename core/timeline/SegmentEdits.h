#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/model/Segments.h"
#include "core/timeline/Ascending.h"

// Edits of one list of zooms, cuts or speed-ups, the same for all three kinds. Times less than `sameMoment`
// apart count as the same moment.
namespace glintro {

inline constexpr Seconds sameMoment = 0.05;

inline bool isSameMoment(Seconds a, Seconds b) {
    return std::abs(a - b) < sameMoment;
}

template <TimeSegment Segment>
void sortByStart(std::vector<Segment>& segments) {
    std::ranges::stable_sort(segments, ascending, &Segment::start);
}

template <TimeSegment Segment>
void dropShort(std::vector<Segment>& segments) {
    std::erase_if(segments,
                  [](const Segment& segment) { return !(segment.end - segment.start >= sameMoment); });
}

// Divides every segment that holds `at` well inside it. The first part stays itself, the second gets a new
// id.
//
//   [   A   ]  ->  [ A ][ B ]
//       ^ at
template <TimeSegment Segment>
std::vector<Segment> splitSegments(const std::vector<Segment>& segments, Seconds at) {
    std::vector<Segment> parts;
    parts.reserve(segments.size() + 1);
    for (const Segment& segment : segments) {
        parts.push_back(segment);
        if (!(segment.start + sameMoment < at && segment.end - sameMoment > at)) continue;
        parts.back().end = at;
        parts.push_back(segment);
        parts.back().id = Uuid::random();
        parts.back().start = at;
    }
    return parts;
}

// Removes the range start..end from every segment. What is left on one side stays itself, of two sides the
// right one gets a new id; less than the same moment is not left over.
//
//   [     A     ]    [ A ]    [ A ]       [A]
//       |----|     |----|       |----|   |----|
//   [ A ]    [B]        [A]   [A]
template <TimeSegment Segment>
std::vector<Segment> subtract(const std::vector<Segment>& segments, Seconds start, Seconds end) {
    std::vector<Segment> rest;
    rest.reserve(segments.size() + 1);
    for (const Segment& segment : segments) {
        const bool apart = segment.end <= start + sameMoment || segment.start >= end - sameMoment;
        const bool leavesLeft = !apart && segment.start < start - sameMoment;
        const bool leavesRight = !apart && segment.end > end + sameMoment;
        if (apart || leavesLeft) rest.push_back(segment);
        if (leavesLeft) rest.back().end = start;
        if (!leavesRight) continue;
        rest.push_back(segment);
        rest.back().start = end;
        if (leavesLeft) rest.back().id = Uuid::random();
    }
    return rest;
}

} // namespace glintro
