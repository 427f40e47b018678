#pragma once

#include <vector>

#include "core/base/Failure.h"
#include "platform/ShareableContent.h"
#include "platform/linux/x11/X11Connection.h"

namespace glintro {

// The monitors of the screen, the primary one first, else in the server's order; one of id 0 that covers the
// whole root window when the server does not know of monitors. An id is the atom of the monitor's name: the
// same as long as the server runs, also when the monitor is unplugged and comes back. A frame is what the
// monitor shows of the root window, however it is turned or scaled.
[[nodiscard]] Result<std::vector<ShareableDisplay>> x11Displays(const X11Connection& connection);

// The windows that the window manager knows, front to back, also minimised ones and those of other desktops;
// without a window manager the visible children of the root window. An id is the window's XID.
[[nodiscard]] Result<std::vector<ShareableWindow>> x11Windows(const X11Connection& connection);

} // namespace glintro
