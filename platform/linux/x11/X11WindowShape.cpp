#include "platform/linux/x11/X11WindowShape.h"

#include <vector>

#include "platform/linux/x11/X11Subject.h"

namespace glintro {
namespace {

struct Margins {
    int left = 0;
    int right = 0;
    int top = 0;
    int bottom = 0;
};

std::optional<Margins> marginsOf(const X11Connection& connection, xcb_window_t window, xcb_atom_t property) {
    if (property == XCB_ATOM_NONE) return std::nullopt;
    const auto value = x11Property(connection.get(), askX11Property(connection.get(), window, property));
    const std::vector<std::uint32_t> words = x11Words(value.get());
    if (words.size() < 4) return std::nullopt;
    return Margins{static_cast<int>(words[0]), static_cast<int>(words[1]), static_cast<int>(words[2]),
                   static_cast<int>(words[3])};
}

PixelRect grown(const PixelRect& rect, const Margins& margins) {
    return {rect.x - margins.left, rect.y - margins.top, rect.width + margins.left + margins.right,
            rect.height + margins.top + margins.bottom};
}

// The child of the root window that the window is or lies in.
std::optional<xcb_window_t> frameOf(const X11Connection& connection, xcb_window_t window) {
    while (true) {
        const auto cookie = xcb_query_tree(connection.get(), window);
        const X11Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(connection.get(), cookie, nullptr));
        if (!tree || tree->parent == XCB_WINDOW_NONE) return std::nullopt;
        if (tree->parent == connection.root()) return window;
        window = tree->parent;
    }
}

bool isViewable(const X11Connection& connection, xcb_window_t window) {
    const auto cookie = xcb_get_window_attributes(connection.get(), window);
    const X11Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(connection.get(), cookie, nullptr));
    return attributes && attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT
           && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

bool readOuter(const X11Connection& connection, X11WindowShape& shape) {
    const auto cookie = xcb_get_geometry(connection.get(), shape.frame);
    const X11Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(connection.get(), cookie, nullptr));
    if (!geometry) return false;
    shape.border = geometry->border_width;
    shape.outer = {geometry->x, geometry->y, geometry->width + 2 * shape.border,
                   geometry->height + 2 * shape.border};
    return true;
}

std::optional<PixelRect> innerOf(const X11Connection& connection, xcb_window_t window) {
    const auto askedGeometry = xcb_get_geometry(connection.get(), window);
    const auto askedPlace = xcb_translate_coordinates(connection.get(), window, connection.root(), 0, 0);
    const X11Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(connection.get(), askedGeometry, nullptr));
    const X11Reply<xcb_translate_coordinates_reply_t> place(
        xcb_translate_coordinates_reply(connection.get(), askedPlace, nullptr));
    if (!geometry || !place) return std::nullopt;
    return PixelRect{place->dst_x, place->dst_y, geometry->width, geometry->height};
}

// A program that draws its own shadow tells how wide it is; else a window manager tells how wide its bar and
// borders are, beyond which its frame may have invisible edges.
std::optional<PixelRect> visiblePart(const X11Connection& connection, xcb_window_t window,
                                     const X11WindowShape& shape) {
    const std::vector<xcb_atom_t> atoms =
        x11Atoms(connection.get(), {"_GTK_FRAME_EXTENTS", "_NET_FRAME_EXTENTS"});
    const std::optional<Margins> shadow = marginsOf(connection, window, atoms[0]);
    const std::optional<Margins> borders = marginsOf(connection, window, atoms[1]);
    const bool isFramed = shape.frame != window;
    if (!shadow && !(isFramed && borders)) return shape.outer;
    std::optional<PixelRect> rect = innerOf(connection, window);
    if (!rect) return std::nullopt;
    if (isFramed && borders) rect = grown(*rect, *borders);
    if (shadow) rect = grown(*rect, {-shadow->left, -shadow->right, -shadow->top, -shadow->bottom});
    rect = intersected(*rect, shape.outer);
    return isEmpty(*rect) ? shape.outer : *rect;
}

} // namespace

std::optional<X11WindowShape> x11WindowShape(const X11Connection& connection, xcb_window_t window) {
    const std::optional<xcb_window_t> frame = frameOf(connection, window);
    if (!frame) return std::nullopt;
    X11WindowShape shape;
    shape.frame = *frame;
    shape.isViewable = isViewable(connection, window);
    if (!readOuter(connection, shape)) return std::nullopt;
    const std::optional<PixelRect> visible = visiblePart(connection, window, shape);
    if (!visible) return std::nullopt;
    shape.visible = *visible;
    return shape;
}

} // namespace glintro
