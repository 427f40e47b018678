#pragma once

#include <memory>

#include "platform/Platform.h"
#include "platform/linux/LinuxDesktop.h"

namespace glintro {

// The system as seen from a desktop of this kind. Connects to nothing before it is used.
std::unique_ptr<Platform> createLinuxPlatform(LinuxDesktop desktop = currentLinuxDesktop());

} // namespace glintro
