#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/base/Geometry.h"

namespace glintro {

// Positions and sizes on the desktop are in points from the top left corner of the whole desktop; a display
// shows `scale` pixels for each point along each side.

struct ShareableDisplay {
    std::uint32_t id = 0;
    std::string name; // as the system names it, for example "HDMI-1"; may be empty
    Rect frame;       // points
    double scale = 1;
    bool operator==(const ShareableDisplay&) const = default;
};

struct ShareableWindow {
    std::uint32_t id = 0;
    std::string title;
    std::string application;  // empty when no application owns the window
    std::int64_t process = 0; // 0 when unknown
    int layer = 0;            // 0: an ordinary window; others are panels, docks, menus
    Rect frame;               // points, what the user sees of it: with its title bar, without its shadow
    bool operator==(const ShareableWindow&) const = default;
};

// What can be recorded now.
struct ShareableContent {
    std::vector<ShareableDisplay> displays; // in the system's order, the main display first
    std::vector<ShareableWindow> windows;   // front to back
    // The system lets the user choose in a dialog of its own when a stream is opened. The lists then hold one
    // entry each, which stands for whatever will be chosen; its frame is empty.
    bool chosenInDialog = false;
};

} // namespace glintro
