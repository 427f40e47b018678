#pragma once

#include "platform/linux/x11/X11Connection.h"

namespace glintro {

// Whether a child of the root window shows a window of this process: is one, or is the window manager's frame
// around one. A panel that another program has put one of our icons in is that program's. Windows that this
// very connection made do not count.
bool belongsToThisProcess(const X11Connection& connection, xcb_window_t topLevel);

} // namespace glintro
