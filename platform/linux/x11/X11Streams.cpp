#include "platform/linux/x11/X11Streams.h"

#include <string>
#include <utility>

#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/render.h>
#include <xcb/xfixes.h>

#include "platform/linux/x11/X11Composition.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11DisplaySubject.h"
#include "platform/linux/x11/X11Snapshot.h"
#include "platform/linux/x11/X11Stream.h"
#include "platform/linux/x11/X11WindowSubject.h"

namespace glintro {
namespace {

// How long a program gets to draw what of its window was covered before the server kept it.
constexpr Seconds kRedrawing = 0.1;

// The server must be told which version of an extension is meant before it obeys the extension's requests.
Result<void> negotiate(xcb_connection_t* connection) {
    for (const auto& [name, extension] :
         {std::pair("DAMAGE", &xcb_damage_id), std::pair("COMPOSITE", &xcb_composite_id),
          std::pair("XFIXES", &xcb_xfixes_id), std::pair("RENDER", &xcb_render_id)}) {
        if (hasX11Extension(connection, *extension)) continue;
        return failure("This X server cannot be recorded: it lacks the extension " + std::string(name) + ".");
    }
    const auto damage = xcb_damage_query_version(connection, 1, 1);
    const auto composite = xcb_composite_query_version(connection, 0, 4);
    const auto xfixes = xcb_xfixes_query_version(connection, 5, 0);
    const auto render = xcb_render_query_version(connection, 0, 11);
    const X11Reply<void> replies[] = {
        X11Reply<void>(xcb_damage_query_version_reply(connection, damage, nullptr)),
        X11Reply<void>(xcb_composite_query_version_reply(connection, composite, nullptr)),
        X11Reply<void>(xcb_xfixes_query_version_reply(connection, xfixes, nullptr)),
        X11Reply<void>(xcb_render_query_version_reply(connection, render, nullptr))};
    for (const X11Reply<void>& reply : replies) {
        if (!reply) return failure("The X server does not answer.");
    }
    return {};
}

const xcb_visualtype_t* visualOf(const X11Connection& connection, xcb_visualid_t id) {
    for (auto depths = xcb_screen_allowed_depths_iterator(connection.screen); depths.rem > 0;
         xcb_depth_next(&depths)) {
        const xcb_visualtype_t* visuals = xcb_depth_visuals(depths.data);
        for (int i = 0; i < xcb_depth_visuals_length(depths.data); ++i) {
            if (visuals[i].visual_id == id) return &visuals[i];
        }
    }
    return nullptr;
}

bool hasFourBytesAPixel(xcb_connection_t* connection, int depth) {
    const xcb_setup_t* setup = xcb_get_setup(connection);
    if (setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) return false;
    for (auto formats = xcb_setup_pixmap_formats_iterator(setup); formats.rem > 0;
         xcb_format_next(&formats)) {
        if (formats.data->depth == depth) return formats.data->bits_per_pixel == 32;
    }
    return false;
}

// Whether pixels of this kind come as bytes B, G, R, x.
Result<void> checkPixels(const X11Connection& connection, int depth, xcb_visualid_t id) {
    const xcb_visualtype_t* visual = visualOf(connection, id);
    const bool isOrdinary = visual != nullptr && visual->red_mask == 0xff0000 && visual->green_mask == 0xff00
                            && visual->blue_mask == 0xff;
    if (isOrdinary && hasFourBytesAPixel(connection.get(), depth)) return {};
    return failure("This screen has colours of " + std::to_string(depth)
                   + " bits, which cannot be recorded: set it to 24 bits.");
}

Result<void> checkWindowPixels(const X11Connection& connection, xcb_window_t window) {
    const std::optional<X11WindowShape> shape = x11WindowShape(connection, window);
    if (!shape) return {};
    const auto askedAttributes = xcb_get_window_attributes(connection.get(), shape->frame);
    const auto askedGeometry = xcb_get_geometry(connection.get(), shape->frame);
    const X11Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(connection.get(), askedAttributes, nullptr));
    const X11Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(connection.get(), askedGeometry, nullptr));
    if (!attributes || !geometry) return {};
    return checkPixels(connection, geometry->depth, attributes->visual);
}

// What is recorded, with the connection at a place where it stays, because what is recorded refers to it.
struct OpenSubject {
    std::unique_ptr<X11Connection> connection;
    std::unique_ptr<X11Subject> subject;
    double scale = 1;
};

Result<std::unique_ptr<X11Connection>> connectForSubject() {
    Result<X11Connection> connection = connectToX11();
    if (!connection) return std::unexpected(connection.error());
    if (const Result<void> usable = negotiate(connection->get()); !usable) {
        return std::unexpected(usable.error());
    }
    return std::make_unique<X11Connection>(std::move(*connection));
}

Result<OpenSubject> displaySubject(const ShareableDisplay& display, const std::optional<Rect>& area) {
    Result<std::unique_ptr<X11Connection>> connection = connectForSubject();
    if (!connection) return std::unexpected(connection.error());
    const xcb_screen_t& screen = *(*connection)->screen;
    if (const auto usable = checkPixels(**connection, screen.root_depth, screen.root_visual); !usable) {
        return std::unexpected(usable.error());
    }
    auto subject = X11DisplaySubject::create(**connection, display, area);
    if (!subject) return std::unexpected(subject.error());
    return OpenSubject{std::move(*connection), std::move(*subject), display.scale};
}

Result<OpenSubject> windowSubject(xcb_window_t window) {
    Result<std::unique_ptr<X11Connection>> connection = connectForSubject();
    if (!connection) return std::unexpected(connection.error());
    if (const auto usable = checkWindowPixels(**connection, window); !usable) {
        return std::unexpected(usable.error());
    }
    const double scale = x11DesktopScale(**connection);
    auto subject = X11WindowSubject::create(**connection, window, scale);
    if (!subject) return std::unexpected(subject.error());
    return OpenSubject{std::move(*connection), std::move(*subject), scale};
}

Result<std::unique_ptr<ScreenStream>> streamOf(Result<OpenSubject> opened) {
    if (!opened) return std::unexpected(opened.error());
    return std::make_unique<X11Stream>(std::move(opened->connection), std::move(opened->subject),
                                       opened->scale);
}

} // namespace

Result<std::unique_ptr<ScreenStream>> openX11Display(const ShareableDisplay& display,
                                                     const std::optional<Rect>& area) {
    return streamOf(displaySubject(display, area));
}

Result<std::unique_ptr<ScreenStream>> openX11Window(std::uint32_t window) {
    return streamOf(windowSubject(window));
}

Result<BgraPicture> pictureOfX11Display(const ShareableDisplay& display, const std::optional<Rect>& area,
                                        int maxSide) {
    const Result<OpenSubject> opened = displaySubject(display, area);
    if (!opened) return std::unexpected(opened.error());
    return x11Snapshot(*opened->connection, *opened->subject, maxSide, 0);
}

Result<BgraPicture> pictureOfX11Window(std::uint32_t window, int maxSide) {
    const Result<OpenSubject> opened = windowSubject(window);
    if (!opened) return std::unexpected(opened.error());
    // A compositing manager has had the server keep all windows' pixels before.
    const Seconds redrawing = isX11ScreenComposed(*opened->connection) ? 0 : kRedrawing;
    return x11Snapshot(*opened->connection, *opened->subject, maxSide, redrawing);
}

} // namespace glintro
