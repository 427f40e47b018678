#include <algorithm>
#include <string>
#include <utility>

#include <xcb/randr.h>

#include "platform/linux/x11/X11Content.h"

namespace glintro {
namespace {

constexpr std::uint32_t kWholeScreen = 0; // no monitor has the name of this atom

ShareableDisplay displayOf(std::uint32_t id, std::string name, const PixelRect& pixels, double scale) {
    const Rect frame{pixels.x / scale, pixels.y / scale, pixels.width / scale, pixels.height / scale};
    return {.id = id, .name = std::move(name), .frame = frame, .scale = scale, .pixels = pixels};
}

X11Reply<xcb_randr_get_monitors_reply_t> askMonitors(const X11Connection& connection) {
    if (!hasX11Extension(connection.get(), xcb_randr_id)) return nullptr;
    const auto cookie = xcb_randr_get_monitors(connection.get(), connection.root(), 1);
    return X11Reply<xcb_randr_get_monitors_reply_t>(
        xcb_randr_get_monitors_reply(connection.get(), cookie, nullptr));
}

std::vector<xcb_randr_monitor_info_t> monitorsOf(const xcb_randr_get_monitors_reply_t& reply) {
    std::vector<xcb_randr_monitor_info_t> monitors;
    for (auto at = xcb_randr_get_monitors_monitors_iterator(&reply); at.rem > 0;
         xcb_randr_monitor_info_next(&at)) {
        monitors.push_back(*at.data);
    }
    std::ranges::stable_partition(monitors, [](const auto& monitor) { return monitor.primary != 0; });
    return monitors;
}

std::string nameOf(xcb_connection_t* connection, xcb_get_atom_name_cookie_t cookie) {
    const X11Reply<xcb_get_atom_name_reply_t> name(xcb_get_atom_name_reply(connection, cookie, nullptr));
    if (!name) return {};
    return {xcb_get_atom_name_name(name.get()),
            static_cast<std::size_t>(xcb_get_atom_name_name_length(name.get()))};
}

std::vector<ShareableDisplay> describe(const X11Connection& connection,
                                       const std::vector<xcb_randr_monitor_info_t>& monitors, double scale) {
    std::vector<xcb_get_atom_name_cookie_t> names;
    names.reserve(monitors.size());
    for (const auto& monitor : monitors) names.push_back(xcb_get_atom_name(connection.get(), monitor.name));
    std::vector<ShareableDisplay> displays;
    displays.reserve(monitors.size());
    for (std::size_t i = 0; i < monitors.size(); ++i) {
        const xcb_randr_monitor_info_t& monitor = monitors[i];
        displays.push_back(displayOf(monitor.name, nameOf(connection.get(), names[i]),
                                     {monitor.x, monitor.y, monitor.width, monitor.height}, scale));
    }
    return displays;
}

// The root window's size may have changed since the connection was made.
Result<std::vector<ShareableDisplay>> wholeScreen(const X11Connection& connection, double scale) {
    const auto cookie = xcb_get_geometry(connection.get(), connection.root());
    const X11Reply<xcb_get_geometry_reply_t> root(xcb_get_geometry_reply(connection.get(), cookie, nullptr));
    if (!root) return failure("The X server has gone.");
    return std::vector<ShareableDisplay>{
        displayOf(kWholeScreen, {}, {0, 0, root->width, root->height}, scale)};
}

} // namespace

Result<std::vector<ShareableDisplay>> x11Displays(const X11Connection& connection) {
    const double scale = x11DesktopScale(connection);
    const auto monitors = askMonitors(connection);
    if (!monitors) return wholeScreen(connection, scale);
    return describe(connection, monitorsOf(*monitors), scale);
}

} // namespace glintro
