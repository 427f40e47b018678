#pragma once

#include <vector>

#include "core/base/Geometry.h"
#include "core/model/ProjectSettings.h"
#include "core/timeline/SegmentEdits.h"
#include "core/timeline/Shot.h"

namespace glintro {

// The recording as a row of shots, each shown wide, shown zoomed or left out. Shots are derived from the
// settings; an edit of a shot rewrites the zooms, cuts, speed-ups and splits so that the next derivation
// gives the wanted row. All times are source seconds, less than 0.05 s apart counts as the same moment, and
// nothing ever fails. The diagrams show w(ide), z(oom) and c(ut) shots over time.
struct Storyboard {
    // The shots tile what the trims keep, numbered from 1; a shot ends wherever a zoom, cut, speed-up or
    // split begins or ends. Empty when no more than 0.01 s is kept. O(n log n).
    static std::vector<Shot> shots(const ProjectSettings& settings, Seconds duration);

    // Every shot's start, then the last one's end.
    static std::vector<Seconds> boundaries(const std::vector<Shot>& shots);

    // The shot that is showing at a time, null outside. The very end belongs to the last shot.
    static const Shot* shot(Seconds at, const std::vector<Shot>& in);

    static bool isSplit(Seconds at, const ProjectSettings& settings);

    // Divides the shot at a time, and what covers it. False, with nothing changed, within 0.3 s of its edges.
    //
    //   |wwwwwwwwwwwwwww|  ->  |wwwwwww|wwwwwww|
    //           ^ at
    static bool split(ProjectSettings& settings, Seconds at, Seconds duration);

    // Leaves a shot out, and takes it back.
    //
    //   |www|zzzzz|www|  cut ->  |www|ccccc|www|  restore ->  |www|zzzzz|www|
    static void cut(ProjectSettings& settings, const Shot& shot);
    static void restore(ProjectSettings& settings, const Shot& shot);

    // Zooms a shot; a scale of 1.01 or less makes it wide. A zoom that is exactly the shot's stays itself,
    // one that reaches beyond the shot loses the shot's range to a new one.
    //
    //   |www|wwwww|www|  scale 2 ->  |www|zzzzz|www|  scale 1 ->  |wwwwwwwwwww|
    static void setZoom(ProjectSettings& settings, const Shot& shot, double scale);

    // Plays a shot at a rate; a rate within 0.001 of 1 removes the speed-up.
    static void setSpeed(ProjectSettings& settings, const Shot& shot, double rate);

    // Takes a split away where one divides the two shots; otherwise the first shot's zoom, rate and cut go
    // over the next one. False, with nothing changed, for the last shot and one that is not there.
    //
    //   |zzz|wwwww|  ->  |zzzzzzzzz|        |www|wwwww|  ->  |wwwwwwwww|
    static bool joinWithNext(ProjectSettings& settings, const Shot& shot, Seconds duration);

    // Drags the shot edge that lies at `from`, no closer than 0.3 s to the edges beside it; the first and the
    // last edge are the trims. The result is where the edge ended up, `from` when it did not move.
    //
    //   |wwwww|zzz|www|  ->  |ww|zzzzzz|www|
    //      to ^  ^ from
    static Seconds moveBoundary(ProjectSettings& settings, Seconds from, Seconds to, Seconds duration);

    // Sorts the zooms, cuts and speed-ups, drops those shorter than 0.05 s and merges neighbours that touch
    // and are the same, unless a split lies between them.
    //
    //   [2x   ][2x   ] [2x]  ->  [2x         ] [2x]
    static void normalize(ProjectSettings& settings);
};

} // namespace glintro
