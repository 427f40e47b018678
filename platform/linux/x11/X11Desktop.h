#pragma once

#include <memory>

#include "platform/DesktopPicture.h"
#include "platform/HotKeySource.h"
#include "platform/ScreenCapture.h"

namespace glintro {

// The desktop of the X server that DISPLAY names, which is connected to at the first use.
std::unique_ptr<ScreenCapture> createX11ScreenCapture();
std::unique_ptr<HotKeySource> createX11HotKeySource();

// What the desktop's settings (GNOME, KDE) name, else the root window's pixmap.
std::unique_ptr<DesktopPictureSource> createDesktopPictureSource();

} // namespace glintro
