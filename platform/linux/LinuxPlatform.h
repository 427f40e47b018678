#pragma once

#include <memory>

#include "platform/Platform.h"

namespace glintro {

// The Linux desktop this process runs in: Wayland's when WAYLAND_DISPLAY is set, else that of an X server.
std::unique_ptr<Platform> createLinuxPlatform();

} // namespace glintro
