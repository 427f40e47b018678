#pragma once

#include <utility>
#include <vector>

#include "core/base/Geometry.h"
#include "platform/linux/x11/X11Connection.h"

namespace glintro {

// A child of the root window that can be seen on it.
struct X11TopLevel {
    enum class Owner { thisProcess, another };

    xcb_window_t id = XCB_WINDOW_NONE;
    PixelRect outer; // with its border, from the root's corner
    int border = 0;
    bool isMapped = false; // what follows is known of mapped windows only
    Owner owner = Owner::another;
    xcb_visualid_t visual = 0;
    std::uint8_t depth = 0;
    int mapping = 0; // counts how often it was mapped: each time its pixels are others
};

// The children of the root window in stacking order, as the server's events tell of them. Windows that only
// accept input, and those of the server itself, are never mapped here: they show nothing of their own.
class X11TopLevels {
  public:
    // The connection must outlive this.
    explicit X11TopLevels(const X11Connection& connection) : connection_(connection) {}

    // Selects these events of the root window's, and those of its properties, and reads what is there. Once.
    void begin();

    // Whether the event has changed anything.
    bool handle(const xcb_generic_event_t& event);

    const std::vector<X11TopLevel>& bottomToTop() const { return windows_; }
    // What is seen of windows of this process, were nothing above them.
    std::vector<PixelRect> ownRects() const;
    // Where windows of this process have come to since the last call, also those that have gone again.
    std::vector<PixelRect> drainOwnPlaces() { return std::exchange(ownPlacesSeen_, {}); }

  private:
    using Position = std::vector<X11TopLevel>::iterator;

    Position find(xcb_window_t window);
    void readAll();
    void read(X11TopLevel& window) const;
    void readOwner(X11TopLevel& window) const;
    void noteOwnPlace(const X11TopLevel& window);
    bool add(xcb_window_t window);
    bool remove(xcb_window_t window);
    bool mapped(xcb_window_t window);
    bool unmapped(xcb_window_t window);
    bool configured(const xcb_configure_notify_event_t& event);
    bool reparented(const xcb_reparent_notify_event_t& event);
    void putAbove(Position window, xcb_window_t sibling);

    const X11Connection& connection_;
    std::vector<X11TopLevel> windows_;
    std::vector<PixelRect> ownPlacesSeen_;
};

} // namespace glintro
