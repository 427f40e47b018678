#pragma once

#include <optional>

#include "platform/DesktopPicture.h"
#include "platform/linux/x11/X11Connection.h"

namespace glintro {

// The pixels that a program has put behind the windows of an X server in the customary way, as a pixmap that
// a property of the root window names. `nullopt` when there are none, or they are not 8-bit colours.
std::optional<DesktopPixels> x11RootPixmap(const X11Connection& connection);

} // namespace glintro
