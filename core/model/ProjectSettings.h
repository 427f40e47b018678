#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/base/Geometry.h"
#include "core/model/Enumerations.h"
#include "core/model/Segments.h"

namespace glintro {

// The whole edit state of one reel. Sizes in pixels are meant for a canvas whose shorter side is 1080 pixels.
struct ProjectSettings {
    BackgroundKind background = BackgroundKind::gradient;
    std::int64_t gradientIndex = 0;   // into Presets::gradients, not clamped here
    std::string solidHex = "#16161C"; // "#RRGGBB"
    double wallpaperBlur = 40.0;      // standard deviation in pixels
    double padding = 0.075;           // fraction of the canvas's shorter side
    double cornerRadius = 20.0;       // pixels
    double shadow = 0.65;             // strength, 0 for none
    AspectRatio aspect = AspectRatio::wide;
    bool showCursor = true;
    double cursorSize = 1.4;      // factor on the pointer's nominal height
    double cursorSmoothing = 0.6; // 0 stiff, 1 soft
    bool clickRipple = true;
    std::vector<ZoomSegment> zooms = {};
    bool followCursor = true;
    Seconds trimStart = 0;
    std::optional<Seconds> trimEnd = {}; // absent: to the end of the recording
    std::vector<CutSegment> cuts = {};
    std::vector<SpeedSegment> speeds = {};
    std::vector<Seconds> splits = {};
    bool showCamera = true;
    CamCorner camCorner = CamCorner::bottomRight;
    CamShape camShape = CamShape::circle;
    double camSize = 0.24; // fraction of the canvas's shorter side

    bool operator==(const ProjectSettings&) const = default;

    // True when both give the same time map: trims, cuts and speeds are equal, looks and zooms may differ.
    bool sameStructure(const ProjectSettings& as) const;
};

} // namespace glintro
