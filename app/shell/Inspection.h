#pragma once

#include <optional>
#include <vector>

#include "core/model/Look.h"
#include "core/plan/ZoomCamera.h"
#include "core/reel/Project.h"
#include "core/timeline/Shot.h"
#include "core/timeline/TimeMap.h"

namespace glintro {

// A moment of a recording in the finished reel.
struct InspectedFrame {
    Seconds sourceTime = 0;      // as asked for
    Seconds compositionTime = 0; // of that
    Seconds shownSource = 0;     // what is shown at that composition time
    ZoomState zoom;
    std::optional<Point> pointer; // absent when the take has no pointer samples
    std::optional<int> shot;      // absent outside all shots
};

// What scripts and the user need to know of a reel. It is computed from the record and the events alone: the
// movies are not opened.
struct Inspection {
    Inspection(const Project& reel, const std::vector<Seconds>& at);

    ProjectInfo info;
    std::optional<Look> look; // absent for a hand-made style
    PixelSize canvas;         // at a short side of 1080 pixels
    std::vector<Shot> shots;
    TimeMap map;
    std::vector<InspectedFrame> frames;
};

} // namespace glintro
