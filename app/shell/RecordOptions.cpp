#include "app/shell/RecordOptions.h"

#include <array>
#include <ranges>

#include <fmt/format.h>

#include "core/base/Numbers.h"

namespace glintro {
namespace {

std::optional<Rect> parseArea(std::string_view text) {
    std::array<double, 4> numbers{};
    std::size_t count = 0;
    for (const auto part : std::views::split(text, ',')) {
        const auto number = parseDecimal({part.begin(), part.end()});
        if (!number || count == numbers.size()) return std::nullopt;
        numbers[count++] = *number;
    }
    if (count != numbers.size()) return std::nullopt;
    return Rect{numbers[0], numbers[1], numbers[2], numbers[3]};
}

} // namespace

CLI::Option* addName(CLI::App& app, const std::string& names, std::optional<std::string>& value,
                     const std::string& description) {
    const auto parse = [names, &value](const std::string& text) {
        if (text.empty()) reject(fmt::format("{} expects a name that is not empty.", names));
        value = text;
    };
    return addText(app, names, parse, description)->type_name("NAME");
}

CLI::Option* addArea(CLI::App& app, std::optional<Rect>& value) {
    const auto parse = [&value](const std::string& text) {
        value = parseArea(text);
        if (!value)
            reject(fmt::format("--area expects four numbers such as 100,80,1280,720, not “{}”.", text));
    };
    return addText(app, "--area", parse,
                   "A part of the desktop, in points from its top left\ncorner; across displays, the part on "
                   "the one that\nshows most of it")
        ->type_name("X,Y,W,H");
}

CLI::Option* addDevice(CLI::App& app, const std::string& names, DeviceWish& value,
                       const std::string& description) {
    const auto parse = [&value](const std::string& text) {
        value = {true, text.empty() ? std::nullopt : std::optional(text)};
    };
    return addText(app, names, parse, description)->type_name("[DEVICE]")->expected(0, 1);
}

CLI::Option* addDesktop(CLI::App& app, std::optional<LinuxDesktop>& value) {
    const auto accept = [&value](const std::string& text) {
        value = linuxDesktopNamed(text);
        if (!value) reject(fmt::format("--on expects x11 or wayland, not “{}”.", text));
    };
    return addText(app, "--on", accept,
                   "Which desktop: x11 or wayland\n(default: $GLINTRO_ON, else the one you are in)")
        ->type_name("KIND");
}

CLI::Option* addCaptureRate(CLI::App& app, std::optional<int>& value) {
    const auto parse = [&value](const std::string& text) {
        if (text != "30" && text != "60") reject(fmt::format("--fps expects 30 or 60, not “{}”.", text));
        value = text == "30" ? 30 : 60;
    };
    return addText(app, "--fps", parse, "Frames a second, 30 or 60 (default: as you prefer, else 60)")
        ->type_name("N");
}

} // namespace glintro
