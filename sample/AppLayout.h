#pragma once

#include "core/base/Geometry.h"

namespace glintro::sample {

// What the pointer can be over. `index` tells items of one kind apart.
enum class Part {
    none,
    search,
    searchClear,
    filterButton,
    newButton,
    menuItem,
    card,
    titleField,
    priorityChoice,
    personChoice,
    cancel,
    create,
};

struct Target {
    Part part = Part::none;
    int index = 0;
    bool operator==(const Target&) const = default;
};

// Where everything stands, in points: 800 points to the height of an ordinary screen, at least 1180 to the
// width, so that the window looks alike at every size of the recording.
struct AppLayout {
    explicit AppLayout(PixelSize pixels);

    double scale; // pixels to the point
    Size screen;
    Rect topBar;
    Rect window;
    Rect sidebar;
    Rect header;
    Rect subheader;
    Rect content; // below both headers, right of the sidebar
    Rect windowControls;
    Rect newButton;
    Rect filterButton;
    Rect search;
    Rect searchClear;
    Rect filterMenu;
    Rect dialog;
    Rect titleField;
    Rect cancel;
    Rect create;
    Rect toast;

    Rect nav(int index) const;
    Rect project(int index) const;
    Rect column(int index) const;
    Rect cardSlot(int column, int row) const;
    Rect menuItem(int index) const;
    Rect priorityChoice(int index) const;
    Rect personChoice(int index) const;
};

inline Point centre(const Rect& area) {
    return {area.x + area.width / 2, area.y + area.height / 2};
}
inline Rect inset(const Rect& area, double by) {
    return {area.x + by, area.y + by, area.width - 2 * by, area.height - 2 * by};
}

} // namespace glintro::sample
