#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <xcb/xcb.h>

#include "core/base/Failure.h"

namespace glintro {

struct X11Free {
    void operator()(void* memory) const { std::free(memory); }
};
struct X11Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};

// A reply, event or error of xcb's; empty when the request failed or the server is gone.
template <class T>
using X11Reply = std::unique_ptr<T, X11Free>;

// A connection to the X server that DISPLAY names, and the screen of it that DISPLAY names.
struct X11Connection {
    std::unique_ptr<xcb_connection_t, X11Disconnect> handle;
    xcb_screen_t* screen = nullptr; // belongs to the handle

    xcb_connection_t* get() const { return handle.get(); }
    xcb_window_t root() const { return screen->root; }
    bool isAlive() const { return xcb_connection_has_error(handle.get()) == 0; }
};

// Fails with a sentence that says what to do when there is no DISPLAY, or its server does not let us in.
[[nodiscard]] Result<X11Connection> connectToX11();

bool hasX11Extension(xcb_connection_t* connection, xcb_extension_t& extension);

// The atoms of these names, in one round trip; XCB_ATOM_NONE for a name nobody has used on the server yet.
std::vector<xcb_atom_t> x11Atoms(xcb_connection_t* connection, const std::vector<std::string>& names);

// A whole property of up to `words` 32-bit words as its bytes; empty when absent.
xcb_get_property_cookie_t askX11Property(xcb_connection_t* connection, xcb_window_t window,
                                         xcb_atom_t property, std::uint32_t words = 1024);
X11Reply<xcb_get_property_reply_t> x11Property(xcb_connection_t* connection,
                                               xcb_get_property_cookie_t cookie);
std::string x11Bytes(const xcb_get_property_reply_t* property);
// The 32-bit items of a property; none when it is absent or has items of another size.
std::vector<std::uint32_t> x11Words(const xcb_get_property_reply_t* property);

// How many pixels one point has along each side on this desktop, in quarters and at least 1: what programs
// draw themselves with, by the resource Xft.dpi.
double x11DesktopScale(const X11Connection& connection);

} // namespace glintro
