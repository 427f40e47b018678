#pragma once

#include <cstdint>
#include <string>

#include <sys/types.h>
#include <xcb/xcb.h>

#include "core/base/Geometry.h"

namespace glintro::test {

// A program of its own that shows windows and draws on them: to whoever is under test, they are another
// process's. Each call returns when the server has carried it out.
class XPainter {
  public:
    enum class Kind { managed, unmanaged, transparent, shaped };

    // Make it before any thread that allocates: the other process starts as a copy of this one.
    explicit XPainter(const std::string& display);
    ~XPainter();
    XPainter(const XPainter&) = delete;
    XPainter& operator=(const XPainter&) = delete;

    // Shown at once, of one colour (0xAARRGGBB) until it is painted on.
    xcb_window_t show(Kind kind, const PixelRect& place, std::uint32_t colour);
    // On a window, or on the root window when it is 0. A window forgets it when it is exposed again.
    void fill(xcb_window_t window, const PixelRect& part, std::uint32_t colour);
    void place(xcb_window_t window, const PixelRect& place);
    void raise(xcb_window_t window);
    void map(xcb_window_t window);
    // As a person does by the window manager.
    void minimise(xcb_window_t window);
    void close(xcb_window_t window);
    void setWallpaper(std::uint32_t colour);

  private:
    struct Order;
    class Process;

    xcb_window_t carryOut(const Order& order);

    int socket_ = -1;
    pid_t process_ = -1;
};

} // namespace glintro::test
