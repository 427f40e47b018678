#pragma once

#include <optional>
#include <string>

#include "app/shell/ArgumentValues.h"
#include "app/shell/CommandLine.h"

// The options of `glintro record` and `glintro sources` with values of their own kind.
namespace glintro {

// A name that is not empty.
CLI::Option* addName(CLI::App& app, const std::string& names, std::optional<std::string>& value,
                     const std::string& description);
// "X,Y,W,H": four numbers.
CLI::Option* addArea(CLI::App& app, std::optional<Rect>& value);
// A switch that may be followed by a name.
CLI::Option* addDevice(CLI::App& app, const std::string& names, DeviceWish& value,
                       const std::string& description);
// "x11" or "wayland".
CLI::Option* addDesktop(CLI::App& app, std::optional<LinuxDesktop>& value);
CLI::Option* addCaptureRate(CLI::App& app, std::optional<int>& value);

} // namespace glintro
