#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/base/Geometry.h"

namespace glintro {

// Desktop coordinates: points from the top left corner of the whole desktop. A display shows `scale` pixels
// for each point along each side.

struct ShareableDisplay {
    std::uint32_t id = 0;
    std::string name; // the connector as the system names it, for example "HDMI-1"; may be empty
    Rect frame;       // desktop coordinates
    double scale = 1;
    // The same rectangle in the system's own pixels. By its corner or by the name a window toolkit's screen
    // is matched with the display, whatever points that toolkit counts in. Empty where the system does not
    // tell.
    PixelRect pixels = {};
    bool operator==(const ShareableDisplay&) const = default;
};

struct ShareableWindow {
    std::uint32_t id = 0;
    std::string title;
    std::string application;  // empty when no application owns the window
    std::int64_t process = 0; // 0 when unknown
    int layer = 0;            // 0: an ordinary window; others are panels, docks, menus
    // Desktop coordinates, what the user sees of it: with its title bar, without its shadow.
    Rect frame;
    bool operator==(const ShareableWindow&) const = default;
};

// What can be recorded now.
struct ShareableContent {
    std::vector<ShareableDisplay> displays; // in the system's order, the main display first
    std::vector<ShareableWindow> windows;   // front to back
    // The system lets the user choose in a dialog of its own when a stream is opened. The lists then hold one
    // entry each, which stands for whatever will be chosen; its frame is empty, and it has no picture.
    bool chosenInDialog = false;
};

} // namespace glintro
