#pragma once

#include <optional>

#include <xcb/xcb.h>

#include "core/base/Geometry.h"
#include "platform/linux/x11/X11Connection.h"

namespace glintro {

// Where a program's window is on the screen.
struct X11WindowShape {
    xcb_window_t frame = XCB_WINDOW_NONE; // the child of the root that holds it; itself when it has no frame
    PixelRect outer;                      // the frame with its border, from the root's corner
    int border = 0;                       // how much of that the server draws around it, on each side
    // What the user sees of it: with its title bar, without the shadow or the invisible edges that it or the
    // window manager draws around it. Inside `outer`.
    PixelRect visible;
    bool isViewable = false; // it and all around it are mapped
};

// `nullopt` when there is no such window.
std::optional<X11WindowShape> x11WindowShape(const X11Connection& connection, xcb_window_t window);

} // namespace glintro
