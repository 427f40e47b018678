#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/base/Geometry.h"
#include "core/base/Uuid.h"

namespace glintro {

// One stretch of a recording as the storyboard shows it. Derived from the settings, never stored.
struct Shot {
    enum class Kind { wide, zoom, cut };

    int number = 0;    // 1-based position in the storyboard
    Seconds start = 0; // source seconds
    Seconds end = 0;
    Kind kind = Kind::wide;
    std::optional<Uuid> zoomID = {}; // the zoom, cut and speed-up that cover the shot
    double scale = 1;                // that zoom's, 1 without
    std::optional<Uuid> cutID = {};
    std::optional<Uuid> speedID = {};
    double rate = 1; // that speed-up's raised to at least 0.25, 1 without

    Seconds outputDuration() const; // in the finished reel: 0 for a cut shot
    std::string caption() const;    // "Wide · 4.2s", "2.0× · 4.2s", "Cut · 4.2s"
    bool operator==(const Shot&) const = default;
};

std::string_view storedText(Shot::Kind kind); // "wide", "zoom", "cut"

} // namespace glintro
