#include "platform/linux/x11/X11RootPixmap.h"

#include <algorithm>

namespace glintro {
namespace {

std::optional<xcb_pixmap_t> namedPixmap(const X11Connection& connection) {
    for (const xcb_atom_t atom : x11Atoms(connection.get(), {"_XROOTPMAP_ID", "ESETROOT_PMAP_ID"})) {
        const auto words = x11Words(
            x11Property(connection.get(), askX11Property(connection.get(), connection.root(), atom)).get());
        if (!words.empty() && words.front() != XCB_PIXMAP_NONE) return words.front();
    }
    return std::nullopt;
}

// Whether an image of this depth comes as bytes B, G, R, x.
bool comesAsBgrx(const X11Connection& connection, std::uint8_t depth) {
    const xcb_setup_t* setup = xcb_get_setup(connection.get());
    if (setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST || depth < 24) return false;
    const xcb_format_t* formats = xcb_setup_pixmap_formats(setup);
    return std::any_of(
               formats, formats + xcb_setup_pixmap_formats_length(setup),
               [&](const auto& format) { return format.depth == depth && format.bits_per_pixel == 32; })
           && depth != 30;
}

} // namespace

std::optional<DesktopPixels> x11RootPixmap(const X11Connection& connection) {
    const std::optional<xcb_pixmap_t> pixmap = namedPixmap(connection);
    if (!pixmap) return std::nullopt;
    const X11Reply<xcb_get_geometry_reply_t> shape(
        xcb_get_geometry_reply(connection.get(), xcb_get_geometry(connection.get(), *pixmap), nullptr));
    if (!shape || !comesAsBgrx(connection, shape->depth)) return std::nullopt;
    const auto cookie = xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, *pixmap, 0, 0,
                                      shape->width, shape->height, ~std::uint32_t{0});
    const X11Reply<xcb_get_image_reply_t> image(xcb_get_image_reply(connection.get(), cookie, nullptr));
    const std::size_t bytes = std::size_t{shape->width} * shape->height * 4;
    if (!image || static_cast<std::size_t>(xcb_get_image_data_length(image.get())) < bytes)
        return std::nullopt;
    const std::uint8_t* data = xcb_get_image_data(image.get());
    return DesktopPixels{{shape->width, shape->height}, {data, data + bytes}};
}

} // namespace glintro
