#include "platform/linux/x11/X11Composition.h"

#include <algorithm>
#include <utility>

#include "platform/linux/x11/X11Subject.h"

namespace glintro {
namespace {

int screenNumber(const X11Connection& connection) {
    int number = 0;
    for (auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection.get()));
         screens.rem > 0 && screens.data->root != connection.root(); xcb_screen_next(&screens)) {
        ++number;
    }
    return number;
}

std::map<xcb_visualid_t, xcb_render_pictformat_t> readFormats(xcb_connection_t* connection) {
    std::map<xcb_visualid_t, xcb_render_pictformat_t> formats;
    const X11Reply<xcb_render_query_pict_formats_reply_t> reply(
        xcb_render_query_pict_formats_reply(connection, xcb_render_query_pict_formats(connection), nullptr));
    if (!reply) return formats;
    for (auto screens = xcb_render_query_pict_formats_screens_iterator(reply.get()); screens.rem > 0;
         xcb_render_pictscreen_next(&screens)) {
        for (auto depths = xcb_render_pictscreen_depths_iterator(screens.data); depths.rem > 0;
             xcb_render_pictdepth_next(&depths)) {
            const xcb_render_pictvisual_t* visuals = xcb_render_pictdepth_visuals(depths.data);
            for (int i = 0; i < xcb_render_pictdepth_visuals_length(depths.data); ++i) {
                formats[visuals[i].visual] = visuals[i].format;
            }
        }
    }
    return formats;
}

xcb_rectangle_t asRectangle(const PixelRect& rect) {
    return {static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
            static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height)};
}

X11Region regionOf(xcb_connection_t* connection, const std::vector<xcb_rectangle_t>& rectangles) {
    X11Region region(connection, xcb_generate_id(connection));
    xcb_xfixes_create_region(connection, region.id(), static_cast<std::uint32_t>(rectangles.size()),
                             rectangles.data());
    return region;
}

// What is left of the region inside the window's shape; `x` and `y` say where the window's corner is.
X11Region insideShape(xcb_connection_t* connection, const X11Region& region, xcb_window_t window, int x,
                      int y) {
    X11Region inside(connection, xcb_generate_id(connection));
    xcb_xfixes_create_region_from_window(connection, inside.id(), window, XCB_SHAPE_SK_BOUNDING);
    xcb_xfixes_translate_region(connection, inside.id(), static_cast<std::int16_t>(x),
                                static_cast<std::int16_t>(y));
    xcb_xfixes_intersect_region(connection, inside.id(), region.id(), inside.id());
    return inside;
}

} // namespace

bool isX11ScreenComposed(const X11Connection& connection) {
    const std::string name = "_NET_WM_CM_S" + std::to_string(screenNumber(connection));
    const xcb_atom_t selection = x11Atoms(connection.get(), {name}).front();
    if (selection == XCB_ATOM_NONE) return false;
    const X11Reply<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
        connection.get(), xcb_get_selection_owner(connection.get(), selection), nullptr));
    return owner && owner->owner != XCB_WINDOW_NONE;
}

X11Composition::X11Composition(const X11Connection& connection, const PixelRect& area)
    : connection_(connection),
      area_(area),
      isScreenComposed_(isX11ScreenComposed(connection)),
      formats_(readFormats(connection.get())),
      infill_(connection, area, formats_[connection.screen->root_visual]),
      pixmap_(connection.get(), xcb_generate_id(connection.get())),
      copying_(connection.get(), xcb_generate_id(connection.get())) {
    xcb_connection_t* server = connection_.get();
    wallpaperAtom_ = x11Atoms(server, {"_XROOTPMAP_ID"}).front();
    xcb_create_pixmap(server, connection_.screen->root_depth, pixmap_.id(), connection_.root(),
                      static_cast<std::uint16_t>(area_.width), static_cast<std::uint16_t>(area_.height));
    const std::uint32_t values[] = {XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS, 0};
    xcb_create_gc(server, copying_.id(), pixmap_.id(), XCB_GC_SUBWINDOW_MODE | XCB_GC_GRAPHICS_EXPOSURES,
                  values);
    picture_ = pictureOf(pixmap_.id(), connection_.screen->root_visual);
    wallpaper_ = readWallpaper();
}

X11Picture X11Composition::pictureOf(xcb_drawable_t drawable, xcb_visualid_t visual) const {
    const auto format = formats_.find(visual);
    if (format == formats_.end()) return {};
    X11Picture picture(connection_.get(), xcb_generate_id(connection_.get()));
    const std::uint32_t repeat = XCB_RENDER_REPEAT_NONE;
    xcb_render_create_picture(connection_.get(), picture.id(), drawable, format->second, XCB_RENDER_CP_REPEAT,
                              &repeat);
    return picture;
}

X11Composition::Wallpaper X11Composition::readWallpaper() {
    return isScreenComposed_ ? announcedBackground() : rootBackground();
}

// The server itself draws the root's background into a window that has it for its own and that nobody sees;
// its pixels stay when the window has gone.
X11Composition::Wallpaper X11Composition::rootBackground() {
    xcb_connection_t* server = connection_.get();
    const X11Window window(server, xcb_generate_id(server));
    const std::uint32_t values[] = {XCB_BACK_PIXMAP_PARENT_RELATIVE, 1};
    xcb_create_window(server, connection_.screen->root_depth, window.id(), connection_.root(),
                      static_cast<std::int16_t>(area_.x), static_cast<std::int16_t>(area_.y),
                      static_cast<std::uint16_t>(area_.width), static_cast<std::uint16_t>(area_.height), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, connection_.screen->root_visual,
                      XCB_CW_BACK_PIXMAP | XCB_CW_OVERRIDE_REDIRECT, values);
    const X11Region nothing = regionOf(server, {});
    xcb_xfixes_set_window_shape_region(server, window.id(), XCB_SHAPE_SK_INPUT, 0, 0, nothing.id());
    const std::uint32_t below = XCB_STACK_MODE_BELOW;
    xcb_configure_window(server, window.id(), XCB_CONFIG_WINDOW_STACK_MODE, &below);
    xcb_composite_redirect_window(server, window.id(), XCB_COMPOSITE_REDIRECT_MANUAL);
    xcb_map_window(server, window.id());
    Wallpaper wallpaper;
    wallpaper.pixmap = X11Pixmap(server, xcb_generate_id(server));
    xcb_composite_name_window_pixmap(server, window.id(), wallpaper.pixmap.id());
    wallpaper.picture = pictureOf(wallpaper.pixmap.id(), connection_.screen->root_visual);
    return wallpaper;
}

// Beside a compositing manager such a window would be seen. Programs that put a picture on the root window
// say which one; a compositing manager that draws a picture of its own does not.
X11Composition::Wallpaper X11Composition::announcedBackground() {
    const auto property =
        x11Property(connection_.get(), askX11Property(connection_.get(), connection_.root(), wallpaperAtom_));
    const std::vector<std::uint32_t> words = x11Words(property.get());
    Wallpaper wallpaper;
    if (words.empty() || words.front() == XCB_PIXMAP_NONE) return wallpaper;
    wallpaper.picture = pictureOf(words.front(), connection_.screen->root_visual);
    const std::uint32_t repeat = XCB_RENDER_REPEAT_NORMAL;
    xcb_render_change_picture(connection_.get(), wallpaper.picture.id(), XCB_RENDER_CP_REPEAT, &repeat);
    wallpaper.x = area_.x;
    wallpaper.y = area_.y;
    return wallpaper;
}

void X11Composition::follow(const std::vector<X11TopLevel>& bottomToTop) {
    std::vector<Layer> layers;
    for (const X11TopLevel& window : bottomToTop) {
        const bool isShown = window.isMapped && window.owner != X11TopLevel::Owner::thisProcess;
        if (isShown && !isEmpty(intersected(window.outer, area_))) layers.push_back(keptOrNew(window));
    }
    layers_ = std::move(layers);
}

// Pixels are named again when the window has others: each time it is mapped or resized.
X11Composition::Layer X11Composition::keptOrNew(const X11TopLevel& window) {
    const auto known =
        std::ranges::find(layers_, window.id, [](const Layer& layer) { return layer.window.id; });
    if (known == layers_.end()) return layerOf(window);
    const X11TopLevel& old = known->window;
    const bool isSame = old.mapping == window.mapping && old.outer.width == window.outer.width
                        && old.outer.height == window.outer.height && old.border == window.border;
    if (!isSame) return layerOf(window);
    Layer kept = std::move(*known);
    kept.window = window;
    return kept;
}

X11Composition::Layer X11Composition::layerOf(const X11TopLevel& window) {
    xcb_connection_t* server = connection_.get();
    Layer layer{
        window, X11Pixmap(server, xcb_generate_id(server)), {}, X11Damage(server, xcb_generate_id(server))};
    xcb_composite_name_window_pixmap(server, window.id, layer.pixmap.id());
    layer.picture = pictureOf(layer.pixmap.id(), window.visual);
    xcb_damage_create(server, layer.damage.id(), window.id, XCB_DAMAGE_REPORT_LEVEL_DELTA_RECTANGLES);
    return layer;
}

std::optional<PixelRect> X11Composition::handle(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7f;
    if (type == XCB_PROPERTY_NOTIFY) {
        const auto& changed = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        if (changed.window != connection_.root() || changed.atom != wallpaperAtom_) return std::nullopt;
        wallpaper_ = readWallpaper();
        return area_;
    }
    if (type != xcb_get_extension_data(connection_.get(), &xcb_damage_id)->first_event) return std::nullopt;
    const auto& damage = reinterpret_cast<const xcb_damage_notify_event_t&>(event);
    const auto layer =
        std::ranges::find(layers_, damage.damage, [](const Layer& each) { return each.damage.id(); });
    if (layer == layers_.end()) return std::nullopt;
    layer->hasReported = true;
    const X11TopLevel& window = layer->window;
    return PixelRect{window.outer.x + window.border + damage.area.x,
                     window.outer.y + window.border + damage.area.y, damage.area.width, damage.area.height};
}

xcb_pixmap_t X11Composition::draw(const RowSet& rows, const std::vector<PixelRect>& occluded) {
    for (Layer& layer : layers_) {
        if (std::exchange(layer.hasReported, false)) {
            xcb_damage_subtract(connection_.get(), layer.damage.id(), XCB_NONE, XCB_NONE);
        }
    }
    copyRows(rows);
    const X11Region region = occludedRegion(rows, occluded);
    drawWallpaper(region, occluded);
    for (const Layer& layer : layers_) drawLayer(layer, region);
    return pixmap_.id();
}

void X11Composition::copyRows(const RowSet& rows) {
    for (const RowRange& band : rows.ranges()) {
        xcb_copy_area(connection_.get(), connection_.root(), pixmap_.id(), copying_.id(),
                      static_cast<std::int16_t>(area_.x), static_cast<std::int16_t>(area_.y + band.begin), 0,
                      static_cast<std::int16_t>(band.begin), static_cast<std::uint16_t>(area_.width),
                      static_cast<std::uint16_t>(band.end - band.begin));
    }
}

X11Region X11Composition::occludedRegion(const RowSet& rows, const std::vector<PixelRect>& occluded) {
    std::vector<xcb_rectangle_t> rectangles;
    for (const PixelRect& rect : occluded) {
        for (const RowRange& band : rows.ranges()) {
            const PixelRect rowsOfRoot{area_.x, area_.y + band.begin, area_.width, band.end - band.begin};
            const PixelRect part = intersected(rect, rowsOfRoot);
            if (isEmpty(part)) continue;
            rectangles.push_back(asRectangle({part.x - area_.x, part.y - area_.y, part.width, part.height}));
        }
    }
    return regionOf(connection_.get(), rectangles);
}

void X11Composition::drawWallpaper(const X11Region& region, const std::vector<PixelRect>& places) {
    xcb_connection_t* server = connection_.get();
    xcb_xfixes_set_picture_clip_region(server, picture_.id(), region.id(), 0, 0);
    if (guessesWallpaper()) return infill_.draw(picture_.id(), places);
    const xcb_rectangle_t all = asRectangle({0, 0, area_.width, area_.height});
    xcb_render_composite(server, XCB_RENDER_PICT_OP_SRC, wallpaper_.picture.id(), XCB_NONE, picture_.id(),
                         static_cast<std::int16_t>(wallpaper_.x), static_cast<std::int16_t>(wallpaper_.y), 0,
                         0, 0, 0, all.width, all.height);
}

// Without a compositing manager the server shows the pixels of a transparent window as if it were opaque.
void X11Composition::drawLayer(const Layer& layer, const X11Region& region) {
    if (!layer.picture) return;
    xcb_connection_t* server = connection_.get();
    const PixelRect& outer = layer.window.outer;
    const int x = outer.x - area_.x;
    const int y = outer.y - area_.y;
    const int border = layer.window.border;
    const X11Region clip = insideShape(server, region, layer.window.id, x + border, y + border);
    xcb_xfixes_set_picture_clip_region(server, picture_.id(), clip.id(), 0, 0);
    const bool isBlended = isScreenComposed_ && layer.window.depth == 32;
    xcb_render_composite(server, isBlended ? XCB_RENDER_PICT_OP_OVER : XCB_RENDER_PICT_OP_SRC,
                         layer.picture.id(), XCB_NONE, picture_.id(), 0, 0, 0, 0,
                         static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                         static_cast<std::uint16_t>(outer.width), static_cast<std::uint16_t>(outer.height));
}

} // namespace glintro
