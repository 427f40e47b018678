#include "platform/linux/x11/X11TopLevels.h"

#include <algorithm>

#include "platform/linux/x11/X11Ownership.h"

namespace glintro {
namespace {

template <class Event>
const Event& as(const xcb_generic_event_t& event) {
    return reinterpret_cast<const Event&>(event);
}

PixelRect outerRect(int x, int y, int width, int height, int border) {
    return {x, y, width + 2 * border, height + 2 * border};
}

} // namespace

void X11TopLevels::begin() {
    const std::uint32_t events = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(connection_.get(), connection_.root(), XCB_CW_EVENT_MASK, &events);
    readAll();
}

void X11TopLevels::readAll() {
    windows_.clear();
    const auto cookie = xcb_query_tree(connection_.get(), connection_.root());
    const X11Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(connection_.get(), cookie, nullptr));
    if (!tree) return;
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
        X11TopLevel& window = windows_.emplace_back();
        window.id = children[i];
        read(window);
    }
}

void X11TopLevels::read(X11TopLevel& window) const {
    const auto askedAttributes = xcb_get_window_attributes(connection_.get(), window.id);
    const auto askedGeometry = xcb_get_geometry(connection_.get(), window.id);
    const X11Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(connection_.get(), askedAttributes, nullptr));
    const X11Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(connection_.get(), askedGeometry, nullptr));
    if (!attributes || !geometry) return;
    const std::uint32_t clientBits = ~xcb_get_setup(connection_.get())->resource_id_mask;
    window.isMapped = attributes->map_state == XCB_MAP_STATE_VIEWABLE
                      && attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT && (window.id & clientBits) != 0;
    window.outer =
        outerRect(geometry->x, geometry->y, geometry->width, geometry->height, geometry->border_width);
    window.border = geometry->border_width;
    window.visual = attributes->visual;
    window.depth = geometry->depth;
    if (window.isMapped) readOwner(window);
}

void X11TopLevels::readOwner(X11TopLevel& window) const {
    window.owner = belongsToThisProcess(connection_, window.id) ? X11TopLevel::Owner::thisProcess
                                                                : X11TopLevel::Owner::another;
}

void X11TopLevels::noteOwnPlace(const X11TopLevel& window) {
    if (window.owner == X11TopLevel::Owner::thisProcess) ownPlacesSeen_.push_back(window.outer);
}

bool X11TopLevels::handle(const xcb_generic_event_t& event) {
    const xcb_window_t root = connection_.root();
    switch (event.response_type & 0x7f) {
        case XCB_CREATE_NOTIFY:
            return as<xcb_create_notify_event_t>(event).parent == root
                   && add(as<xcb_create_notify_event_t>(event).window);
        case XCB_DESTROY_NOTIFY:
            return remove(as<xcb_destroy_notify_event_t>(event).window);
        case XCB_MAP_NOTIFY:
            return mapped(as<xcb_map_notify_event_t>(event).window);
        case XCB_UNMAP_NOTIFY:
            return unmapped(as<xcb_unmap_notify_event_t>(event).window);
        case XCB_CONFIGURE_NOTIFY:
            return configured(as<xcb_configure_notify_event_t>(event));
        case XCB_REPARENT_NOTIFY:
            return reparented(as<xcb_reparent_notify_event_t>(event));
        case XCB_CIRCULATE_NOTIFY:
            readAll();
            return true;
        default:
            return false;
    }
}

std::vector<PixelRect> X11TopLevels::ownRects() const {
    std::vector<PixelRect> rects;
    for (const X11TopLevel& window : windows_) {
        if (window.isMapped && window.owner == X11TopLevel::Owner::thisProcess) rects.push_back(window.outer);
    }
    return rects;
}

X11TopLevels::Position X11TopLevels::find(xcb_window_t window) {
    return std::ranges::find(windows_, window, &X11TopLevel::id);
}

bool X11TopLevels::add(xcb_window_t window) {
    if (find(window) == windows_.end()) windows_.emplace_back().id = window;
    return true;
}

bool X11TopLevels::remove(xcb_window_t window) {
    const Position found = find(window);
    if (found == windows_.end()) return false;
    windows_.erase(found);
    return true;
}

bool X11TopLevels::mapped(xcb_window_t window) {
    const Position found = find(window);
    if (found == windows_.end()) return false;
    ++found->mapping;
    read(*found);
    if (!found->isMapped) readOwner(*found); // it has gone already, but was there
    noteOwnPlace(*found);
    return true;
}

bool X11TopLevels::unmapped(xcb_window_t window) {
    const Position found = find(window);
    if (found == windows_.end() || !found->isMapped) return false;
    found->isMapped = false;
    return true;
}

bool X11TopLevels::configured(const xcb_configure_notify_event_t& event) {
    const Position found = find(event.window);
    if (found == windows_.end()) return false;
    found->outer = outerRect(event.x, event.y, event.width, event.height, event.border_width);
    found->border = event.border_width;
    noteOwnPlace(*found);
    putAbove(found, event.above_sibling);
    return true;
}

// A sibling that is not known, because the two sides crossed: what is there now is read again.
void X11TopLevels::putAbove(Position window, xcb_window_t sibling) {
    const X11TopLevel moved = *window;
    windows_.erase(window);
    if (sibling == XCB_WINDOW_NONE) {
        windows_.insert(windows_.begin(), moved);
    } else if (const Position below = find(sibling); below != windows_.end()) {
        windows_.insert(below + 1, moved);
    } else {
        readAll();
    }
}

// A window manager may put a program's window into its frame after it has shown the frame.
bool X11TopLevels::reparented(const xcb_reparent_notify_event_t& event) {
    if (event.parent == connection_.root()) return add(event.window);
    const bool removed = remove(event.window);
    const Position frame = find(event.parent);
    if (frame == windows_.end() || !frame->isMapped) return removed;
    read(*frame);
    return true;
}

} // namespace glintro
