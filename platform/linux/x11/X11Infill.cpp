#include "platform/linux/x11/X11Infill.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string_view>

#include "platform/linux/x11/X11Subject.h"

namespace glintro {
namespace {

constexpr xcb_render_color_t kGrey{0x8000, 0x8000, 0x8000, 0xFFFF};

enum class Direction { down, across };

bool touch(const PixelRect& a, const PixelRect& b) {
    return a.x <= b.right() && b.x <= a.right() && a.y <= b.bottom() && b.y <= a.bottom();
}

PixelRect unionOf(const PixelRect& a, const PixelRect& b) {
    const int x = std::min(a.x, b.x);
    const int y = std::min(a.y, b.y);
    return {x, y, std::max(a.right(), b.right()) - x, std::max(a.bottom(), b.bottom()) - y};
}

// What surrounds one place must not lie in another.
std::vector<PixelRect> merged(const std::vector<PixelRect>& places) {
    std::vector<PixelRect> result;
    for (PixelRect place : places) {
        for (auto at = result.begin(); at != result.end();) {
            if (!touch(*at, place)) {
                ++at;
                continue;
            }
            place = unionOf(*at, place);
            result.erase(at);
            at = result.begin(); // it has grown and may touch those before
        }
        result.push_back(place);
    }
    return result;
}

xcb_render_fixed_t fixed(double value) {
    return static_cast<xcb_render_fixed_t>(std::lround(value * 65536));
}

// From the pixels of a place to a strip of two pixels, from the middle of the first to that of the second.
xcb_render_transform_t ontoStrip(const PixelRect& place, Direction direction) {
    const xcb_render_fixed_t one = fixed(1);
    const xcb_render_fixed_t half = fixed(0.5);
    if (direction == Direction::down) return {one, 0, 0, 0, fixed(1.0 / place.height), half, 0, 0, one};
    return {fixed(1.0 / place.width), 0, half, 0, one, 0, 0, 0, one};
}

} // namespace

// The rows or columns of the root window at both ends of a place; none when nothing surrounds it.
struct X11Infill::Edges {
    Direction direction = Direction::down;
    std::optional<PixelRect> first;
    PixelRect second;

    // Those inside the bounds; one of them twice when only that one is.
    static Edges along(Direction direction, const PixelRect& place, const PixelRect& bounds) {
        const bool isDown = direction == Direction::down;
        const PixelRect before = isDown ? PixelRect{place.x, place.y - 1, place.width, 1}
                                        : PixelRect{place.x - 1, place.y, 1, place.height};
        const PixelRect after = isDown ? PixelRect{place.x, place.bottom(), place.width, 1}
                                       : PixelRect{place.right(), place.y, 1, place.height};
        const bool hasBefore = intersected(before, bounds) == before;
        const bool hasAfter = intersected(after, bounds) == after;
        if (!hasBefore && !hasAfter) return {direction, std::nullopt, {}};
        return {direction, hasBefore ? before : after, hasAfter ? after : before};
    }
};

X11Infill::X11Infill(const X11Connection& connection, const PixelRect& area, xcb_render_pictformat_t format)
    : connection_(connection),
      area_(area),
      root_(area),
      format_(format),
      copying_(connection.get(), xcb_generate_id(connection.get())) {
    const std::uint32_t values[] = {XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS, 0};
    xcb_create_gc(connection.get(), copying_.id(), connection.root(),
                  XCB_GC_SUBWINDOW_MODE | XCB_GC_GRAPHICS_EXPOSURES, values);
    const auto cookie = xcb_get_geometry(connection.get(), connection.root());
    const X11Reply<xcb_get_geometry_reply_t> root(xcb_get_geometry_reply(connection.get(), cookie, nullptr));
    if (root) root_ = {0, 0, root->width, root->height};
}

void X11Infill::draw(xcb_render_picture_t picture, const std::vector<PixelRect>& places) const {
    for (const PixelRect& place : merged(places)) fill(picture, place, edgesOf(place));
}

// The nearer ones inside the area; outside of it, where there may be no screen, when there are none inside.
X11Infill::Edges X11Infill::edgesOf(const PixelRect& place) const {
    const bool isWide = place.width >= place.height;
    const Direction nearer = isWide ? Direction::down : Direction::across;
    const Direction farther = isWide ? Direction::across : Direction::down;
    Edges edges;
    for (const PixelRect& bounds : {area_, root_}) {
        for (const Direction direction : {nearer, farther}) {
            edges = Edges::along(direction, place, bounds);
            if (edges.first) return edges;
        }
    }
    return edges;
}

void X11Infill::fill(xcb_render_picture_t picture, const PixelRect& place, const Edges& edges) const {
    xcb_connection_t* server = connection_.get();
    const auto x = static_cast<std::int16_t>(place.x - area_.x);
    const auto y = static_cast<std::int16_t>(place.y - area_.y);
    const auto width = static_cast<std::uint16_t>(place.width);
    const auto height = static_cast<std::uint16_t>(place.height);
    if (!edges.first) {
        const xcb_rectangle_t all{x, y, width, height};
        xcb_render_fill_rectangles(server, XCB_RENDER_PICT_OP_SRC, picture, kGrey, 1, &all);
        return;
    }
    const bool isDown = edges.direction == Direction::down;
    const X11Pixmap strip(server, xcb_generate_id(server));
    xcb_create_pixmap(server, connection_.screen->root_depth, strip.id(), connection_.root(),
                      isDown ? width : 2, isDown ? 2 : height);
    const auto copy = [&](const PixelRect& edge, int position) {
        xcb_copy_area(server, connection_.root(), strip.id(), copying_.id(),
                      static_cast<std::int16_t>(edge.x), static_cast<std::int16_t>(edge.y),
                      static_cast<std::int16_t>(isDown ? 0 : position),
                      static_cast<std::int16_t>(isDown ? position : 0),
                      static_cast<std::uint16_t>(edge.width), static_cast<std::uint16_t>(edge.height));
    };
    copy(*edges.first, 0);
    copy(edges.second, 1);
    const X11Picture source(server, xcb_generate_id(server));
    const std::uint32_t repeat = XCB_RENDER_REPEAT_PAD;
    xcb_render_create_picture(server, source.id(), strip.id(), format_, XCB_RENDER_CP_REPEAT, &repeat);
    xcb_render_set_picture_transform(server, source.id(), ontoStrip(place, edges.direction));
    constexpr std::string_view kFilter = "bilinear";
    xcb_render_set_picture_filter(server, source.id(), kFilter.size(), kFilter.data(), 0, nullptr);
    xcb_render_composite(server, XCB_RENDER_PICT_OP_SRC, source.id(), XCB_NONE, picture, 0, 0, 0, 0, x, y,
                         width, height);
}

} // namespace glintro
