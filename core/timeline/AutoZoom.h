#pragma once

#include <vector>

#include "core/base/Geometry.h"
#include "core/model/RecordingEvents.h"
#include "core/model/Segments.h"

namespace glintro {

// Turns the clicks of a recording into the zooms through which every click becomes a shot.
struct AutoZoom {
    // Groups clicks that follow one another closely and zooms in around each group:
    //
    //   clicks        x x   x                        x
    //   zooms   [-1 s           +1.8 s]        [-1 s     +1.8 s]
    //
    // A zoom lasts at least 2.4 s where the recording allows and lies inside it; zooms that would nearly
    // touch become one. `level` is the scale of an ordinary zoom, busy groups get a little less. Clicks may
    // come in any order; only their times count, and those that are not finite are ignored. The result
    // ascends and does not overlap; it is empty for a recording of a second or less.
    static std::vector<ZoomSegment> segments(const std::vector<EventSample>& clicks, Seconds duration,
                                             double level);

    // Zooms that are made again just as they were stay the same ones: gives those of `zooms` that equal one
    // of `old` its identity. Both ascend.
    static void keepIdentities(std::vector<ZoomSegment>& zooms, const std::vector<ZoomSegment>& old);
};

} // namespace glintro
