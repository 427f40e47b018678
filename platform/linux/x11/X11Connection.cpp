#include "platform/linux/x11/X11Connection.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace glintro {
namespace {

xcb_screen_t* screenOf(xcb_connection_t* connection, int number) {
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; number > 0 && screens.rem > 1; --number) xcb_screen_next(&screens);
    return screens.data;
}

// The value of "Xft.dpi:\t144" in the lines of the resource database.
std::optional<double> dotsPerInch(const std::string& resources) {
    const std::string name = "Xft.dpi:";
    const std::size_t found = ("\n" + resources).find("\n" + name);
    if (found == std::string::npos) return std::nullopt;
    const double value = std::strtod(resources.c_str() + found + name.size(), nullptr);
    return std::isfinite(value) && value > 0 ? std::optional(value) : std::nullopt;
}

} // namespace

Result<X11Connection> connectToX11() {
    const char* display = std::getenv("DISPLAY");
    if (display == nullptr || *display == '\0') {
        return failure(
            "There is no screen to record: start Glintro on a desktop, or set DISPLAY to an X server.");
    }
    int number = 0;
    X11Connection connection;
    connection.handle.reset(xcb_connect(display, &number));
    if (const int error = xcb_connection_has_error(connection.get()); error != 0) {
        return failure("The X server “" + std::string(display)
                           + "” does not answer: check that DISPLAY is right and that this user may use it.",
                       "xcb_connect", error);
    }
    connection.screen = screenOf(connection.get(), number);
    return connection;
}

bool hasX11Extension(xcb_connection_t* connection, xcb_extension_t& extension) {
    const xcb_query_extension_reply_t* data = xcb_get_extension_data(connection, &extension);
    return data != nullptr && data->present != 0;
}

std::vector<xcb_atom_t> x11Atoms(xcb_connection_t* connection, const std::vector<std::string>& names) {
    std::vector<xcb_intern_atom_cookie_t> cookies;
    cookies.reserve(names.size());
    for (const std::string& name : names) {
        cookies.push_back(
            xcb_intern_atom(connection, 1, static_cast<std::uint16_t>(name.size()), name.data()));
    }
    std::vector<xcb_atom_t> atoms;
    atoms.reserve(names.size());
    for (const xcb_intern_atom_cookie_t cookie : cookies) {
        const X11Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, cookie, nullptr));
        atoms.push_back(reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE});
    }
    return atoms;
}

xcb_get_property_cookie_t askX11Property(xcb_connection_t* connection, xcb_window_t window,
                                         xcb_atom_t property, std::uint32_t words) {
    return xcb_get_property(connection, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, words);
}

X11Reply<xcb_get_property_reply_t> x11Property(xcb_connection_t* connection,
                                               xcb_get_property_cookie_t cookie) {
    return X11Reply<xcb_get_property_reply_t>(xcb_get_property_reply(connection, cookie, nullptr));
}

std::string x11Bytes(const xcb_get_property_reply_t* property) {
    if (property == nullptr) return {};
    return {static_cast<const char*>(xcb_get_property_value(property)),
            static_cast<std::size_t>(xcb_get_property_value_length(property))};
}

std::vector<std::uint32_t> x11Words(const xcb_get_property_reply_t* property) {
    if (property == nullptr || property->format != 32) return {};
    std::vector<std::uint32_t> words(property->value_len);
    if (!words.empty()) std::memcpy(words.data(), xcb_get_property_value(property), words.size() * 4);
    return words;
}

double x11DesktopScale(const X11Connection& connection) {
    const auto cookie =
        askX11Property(connection.get(), connection.root(), XCB_ATOM_RESOURCE_MANAGER, 1 << 16);
    const std::optional<double> dots = dotsPerInch(x11Bytes(x11Property(connection.get(), cookie).get()));
    return std::clamp(std::round(dots.value_or(96) / 96 * 4) / 4, 1.0, 8.0);
}

} // namespace glintro
