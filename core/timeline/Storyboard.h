#pragma once

#include <vector>

#include "core/base/Geometry.h"
#include "core/model/ProjectSettings.h"
#include "core/timeline/Shot.h"

namespace glintro {

// The recording as a row of shots, each shown wide, shown zoomed or left out. Shots are derived from the
// settings; an edit of a shot rewrites the zooms, cuts, speed-ups and splits so that the next derivation
// gives the wanted row. All times are source seconds, and nothing ever fails. In the diagrams a shot is
// w(ide), z(oomed) or c(ut).
struct Storyboard {
    static constexpr Seconds kSameMoment = 0.05;  // edges and splits closer than this are one
    static constexpr Seconds kShortestShot = 0.3; // that a split or a dragged edge may leave

    // The shots tile what the trims keep, numbered from 1; a shot ends wherever a zoom, cut, speed-up or
    // split begins or ends. Empty when no more than 0.01 s is kept. O(n log n).
    static std::vector<Shot> shots(const ProjectSettings& settings, Seconds duration);

    // Every shot's start, then the last one's end.
    static std::vector<Seconds> boundaries(const std::vector<Shot>& shots);

    // The shot that shows a time, null outside all; it belongs to `in`. The very end belongs to the last
    // shot.
    static const Shot* shot(Seconds at, const std::vector<Shot>& in);

    static bool isSplit(Seconds at, const ProjectSettings& settings);

    // Divides the shot at a time, and what covers it. False, with nothing changed, outside all shots or less
    // than the shortest shot away from an edge.
    //
    //   |wwwwwwwwwwwwwww|  ->  |wwwwwww|wwwwwww|
    //           ^ at
    static bool split(ProjectSettings& settings, Seconds at, Seconds duration);

    // Leaves a shot out, and shows it again.
    //
    //   |www|zzzzz|www|  cut ->  |www|ccccc|www|  restore ->  |www|zzzzz|www|
    static void cut(ProjectSettings& settings, const Shot& shot);
    static void restore(ProjectSettings& settings, const Shot& shot);

    // Zooms a shot; a scale of 1.01 or less makes it wide. A zoom over exactly this shot only changes its
    // scale, one that reaches further gives the shot's range up to a new one.
    //
    //   |www|wwwww|www|  2x ->  |www|zzzzz|www|  1x ->  |www|wwwww|www|
    static void setZoom(ProjectSettings& settings, const Shot& shot, double scale);

    // Plays a shot at a rate; one within 0.001 of 1 removes the speed-up.
    static void setSpeed(ProjectSettings& settings, const Shot& shot, double rate);

    // Takes the split between two shots away; where none divides them, the first one's zoom, rate and cut go
    // over the next one. False, with nothing changed, for the last shot and for one that is not there.
    //
    //   |www|wwwww|  ->  |wwwwwwwww|        |zzz|wwwww|  ->  |zzzzzzzzz|
    static bool joinWithNext(ProjectSettings& settings, const Shot& shot, Seconds duration);

    // Drags the edge at `from` with the segments and splits that end there, no closer than the shortest shot
    // to the edges beside it. The first and the last edge are the trims. The result is where the edge ended
    // up: `from` when there is none or no room.
    //
    //   |wwwww|zzz|www|  ->  |ww|zzzzzz|www|
    //      to ^  ^ from
    static Seconds moveBoundary(ProjectSettings& settings, Seconds from, Seconds to, Seconds duration);

    // Sorts the zooms, cuts and speed-ups, drops those shorter than 0.05 s and merges neighbours that touch
    // and are the same, unless a split lies between them. O(n log n).
    //
    //   [ 2x ][ 2x ]   [ 2x ]  ->  [    2x    ]   [ 2x ]
    static void normalize(ProjectSettings& settings);

    // Divides every segment that holds `at` well inside it: the first part stays itself, the second gets a
    // new id. The order stays.
    //
    //   [   A   ]  ->  [ A ][ B ]
    //       ^ at
    template <TimeSegment Segment>
    static std::vector<Segment> splitSegments(const std::vector<Segment>& segments, Seconds at);

    // Removes the range start..end from every segment. What is left on one side stays itself; of two sides
    // the right one gets a new id. The order stays.
    //
    //   [     A     ]      [ A ]    [ A ]       [A]
    //       |---|        |---|        |---|    |---|
    //   [ A ]   [B]          [A]    [A]
    template <TimeSegment Segment>
    static std::vector<Segment> subtract(const std::vector<Segment>& segments, Seconds start, Seconds end);
};

template <TimeSegment Segment>
std::vector<Segment> Storyboard::splitSegments(const std::vector<Segment>& segments, Seconds at) {
    std::vector<Segment> parts;
    parts.reserve(segments.size() + 1);
    for (const Segment& segment : segments) {
        parts.push_back(segment);
        if (!(segment.start + kSameMoment < at && segment.end - kSameMoment > at)) continue;
        parts.back().end = at;
        parts.push_back(segment);
        parts.back().id = Uuid::random();
        parts.back().start = at;
    }
    return parts;
}

template <TimeSegment Segment>
std::vector<Segment> Storyboard::subtract(const std::vector<Segment>& segments, Seconds start, Seconds end) {
    std::vector<Segment> rest;
    rest.reserve(segments.size() + 1);
    for (const Segment& segment : segments) {
        const bool apart = segment.end <= start + kSameMoment || segment.start >= end - kSameMoment;
        const bool leavesLeft = !apart && segment.start < start - kSameMoment;
        const bool leavesRight = !apart && segment.end > end + kSameMoment;
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
