#pragma once

#include <memory>

#include "platform/HotKeySource.h"
#include "platform/ScreenCapture.h"

namespace glintro {

// The desktop behind the ScreenCast portal of the session bus, which is connected to at the first use.
std::unique_ptr<ScreenCapture> createPortalScreenCapture();
// The GlobalShortcuts portal, where the desktop has one.
std::unique_ptr<HotKeySource> createPortalHotKeySource();

} // namespace glintro
