#include "platform/linux/LinuxDesktop.h"

#include <cstdlib>

#include "platform/linux/x11/X11Server.h"

namespace glintro {
namespace {

bool isSet(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0';
}

} // namespace

std::optional<LinuxDesktop> linuxDesktopNamed(std::string_view name) {
    if (name == "x11") return LinuxDesktop::x11;
    if (name == "wayland") return LinuxDesktop::wayland;
    return std::nullopt;
}

LinuxDesktop currentLinuxDesktop() {
    if (!isSet("WAYLAND_DISPLAY")) return LinuxDesktop::x11;
    const bool hasOwnServer = isSet("DISPLAY") && x11ServerKind() == X11ServerKind::standalone;
    return hasOwnServer ? LinuxDesktop::x11 : LinuxDesktop::wayland;
}

} // namespace glintro
