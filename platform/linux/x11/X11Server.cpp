#include "platform/linux/x11/X11Server.h"

#include <string_view>

#include <xcb/randr.h>

#include "platform/linux/x11/X11Connection.h"

namespace glintro {
namespace {

bool hasExtension(const X11Connection& connection, std::string_view name) {
    const auto cookie =
        xcb_query_extension(connection.get(), static_cast<std::uint16_t>(name.size()), name.data());
    const X11Reply<xcb_query_extension_reply_t> reply(
        xcb_query_extension_reply(connection.get(), cookie, nullptr));
    return reply && reply->present != 0;
}

bool hasXwaylandOutput(const X11Connection& connection) {
    if (!hasX11Extension(connection.get(), xcb_randr_id)) return false;
    const X11Reply<xcb_randr_get_screen_resources_current_reply_t> resources(
        xcb_randr_get_screen_resources_current_reply(
            connection.get(), xcb_randr_get_screen_resources_current(connection.get(), connection.root()),
            nullptr));
    if (!resources) return false;
    const xcb_randr_output_t* outputs = xcb_randr_get_screen_resources_current_outputs(resources.get());
    for (int i = 0; i < xcb_randr_get_screen_resources_current_outputs_length(resources.get()); ++i) {
        const X11Reply<xcb_randr_get_output_info_reply_t> output(xcb_randr_get_output_info_reply(
            connection.get(),
            xcb_randr_get_output_info(connection.get(), outputs[i], resources->config_timestamp), nullptr));
        if (!output) continue;
        const std::string_view name(
            reinterpret_cast<const char*>(xcb_randr_get_output_info_name(output.get())), output->name_len);
        if (name.starts_with("XWAYLAND")) return true;
    }
    return false;
}

} // namespace

X11ServerKind x11ServerKind() {
    const auto connection = connectToX11();
    if (!connection) return X11ServerKind::absent;
    // Since version 23.1 it has an extension that says so and may call its outputs what Wayland does; before,
    // it numbers them.
    const bool isXwayland = hasExtension(*connection, "XWAYLAND") || hasXwaylandOutput(*connection);
    return isXwayland ? X11ServerKind::xwayland : X11ServerKind::standalone;
}

} // namespace glintro
