#pragma once

#include <optional>
#include <string_view>

namespace glintro {

// The two ways in which a Linux desktop shows its screens to a program.
enum class LinuxDesktop { x11, wayland };

// "x11" or "wayland"; nullopt for other names.
std::optional<LinuxDesktop> linuxDesktopNamed(std::string_view name);

// The desktop that this process's environment means. WAYLAND_DISPLAY means Wayland, unless DISPLAY names an X
// server of its own right, one that somebody started for this program: a desktop's own Xwayland shows nothing
// of the desktop. Asks that server.
LinuxDesktop currentLinuxDesktop();

} // namespace glintro
