#pragma once

#include <optional>
#include <vector>

#include "core/base/Geometry.h"
#include "core/plan/FrameGeometry.h"
#include "core/plan/ZoomCamera.h"

namespace glintro {

// The arrow: where its tip points and how many canvas pixels one pixel of the pointer bitmap becomes.
struct PointerPlan {
    Point tip;
    Size scale;
    bool operator==(const PointerPlan&) const = default;
};

struct RipplePlan {
    Point centre;
    Size diameter;
    double opacity = 0;
    bool operator==(const RipplePlan&) const = default;
};

// Everything about one output frame that changes with time or with the canvas, in numbers: canvas coordinates
// are pixels from the top left, the window is in source pixels. Equal plans over the same source frames are
// the same picture. What follows from settings and canvas alone (backdrop, corners, shadow, bubble) belongs
// to the renderer's static layers.
struct FramePlan {
    PixelSize canvas;
    Rect window;      // of the recording, shown in
    PixelRect target; // of the canvas
    std::vector<RipplePlan> ripples;
    std::optional<PointerPlan> pointer;
    bool operator==(const FramePlan&) const = default;
};

// The webcam bubble's square on the canvas; absent when it would have no size.
struct BubblePlan {
    Point origin;
    int diameter = 0;
    double radius = 0;
    bool operator==(const BubblePlan&) const = default;
};
std::optional<BubblePlan> planBubble(const ProjectSettings& settings, PixelSize canvas);

// Plans the frame of a source time. `source` is the recording's size in pixels. A pure function of its
// arguments.
FramePlan planFrame(const ProjectSettings& settings, const ZoomCamera& camera, Size source, Framing framing,
                    Seconds sourceTime, PixelSize canvas);

} // namespace glintro
