#include "tests/support/XPainter.h"

#include <csignal>
#include <stdexcept>

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb_icccm.h>
#include <xcb/xfixes.h>

#include "tests/support/XSession.h"

namespace glintro::test {

struct XPainter::Order {
    enum class Verb { show, fill, place, raise, map, minimise, close, wallpaper };

    Verb verb = Verb::show;
    Kind kind = Kind::managed;
    xcb_window_t window = 0;
    PixelRect rect{};
    std::uint32_t colour = 0;
};

namespace {

xcb_rectangle_t asRectangle(const PixelRect& rect) {
    return {static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
            static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height)};
}

xcb_visualid_t transparentVisual(xcb_screen_t* screen) {
    for (auto depths = xcb_screen_allowed_depths_iterator(screen); depths.rem > 0; xcb_depth_next(&depths)) {
        if (depths.data->depth == 32) return xcb_depth_visuals(depths.data)[0].visual_id;
    }
    throw std::runtime_error("no visual of 32 bits");
}

} // namespace

// What runs in the other process.
class XPainter::Process {
  public:
    explicit Process(const std::string& display)
        : connection_(connectTo(display)), server_(connection_.get()), root_(rootOf(server_)) {
        xcb_xfixes_query_version_reply(server_, xcb_xfixes_query_version(server_, 5, 0), nullptr);
    }

    xcb_window_t carryOut(const Order& order) {
        const xcb_window_t result = order.verb == Order::Verb::show ? show(order) : change(order);
        synchronise(server_);
        return result;
    }

  private:
    xcb_window_t show(const Order& order) {
        xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(server_)).data;
        const bool isTransparent = order.kind == Kind::transparent;
        const xcb_visualid_t visual = isTransparent ? transparentVisual(screen) : screen->root_visual;
        const xcb_colormap_t colours = xcb_generate_id(server_);
        xcb_create_colormap(server_, XCB_COLORMAP_ALLOC_NONE, colours, root_, visual);
        const xcb_window_t window = xcb_generate_id(server_);
        const std::uint32_t unmanaged = order.kind == Kind::managed ? 0 : 1;
        const std::uint32_t values[] = {order.colour, 0, unmanaged, colours};
        const xcb_rectangle_t place = asRectangle(order.rect);
        xcb_create_window(
            server_, isTransparent ? 32 : screen->root_depth, window, root_, place.x, place.y, place.width,
            place.height, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, visual,
            XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_COLORMAP, values);
        if (order.kind == Kind::shaped) cutCorners(window, order.rect);
        xcb_size_hints_t hints{};
        xcb_icccm_size_hints_set_position(&hints, 1, order.rect.x, order.rect.y);
        xcb_icccm_set_wm_normal_hints(server_, window, &hints);
        xcb_map_window(server_, window);
        return window;
    }

    // The window is a cross: its corners, a quarter of each side, are not part of it.
    void cutCorners(xcb_window_t window, const PixelRect& rect) {
        const int x = rect.width / 4;
        const int y = rect.height / 4;
        const xcb_rectangle_t arms[] = {asRectangle({x, 0, rect.width - 2 * x, rect.height}),
                                        asRectangle({0, y, rect.width, rect.height - 2 * y})};
        const xcb_xfixes_region_t region = xcb_generate_id(server_);
        xcb_xfixes_create_region(server_, region, 2, arms);
        xcb_xfixes_set_window_shape_region(server_, window, XCB_SHAPE_SK_BOUNDING, 0, 0, region);
        xcb_xfixes_destroy_region(server_, region);
    }

    xcb_window_t change(const Order& order) {
        switch (order.verb) {
            case Order::Verb::fill:
                fill(order.window == 0 ? root_ : order.window, order);
                break;
            case Order::Verb::place:
                place(order.window, order.rect);
                break;
            case Order::Verb::raise:
                raise(order.window);
                break;
            case Order::Verb::map:
                xcb_map_window(server_, order.window);
                break;
            case Order::Verb::minimise:
                minimise(order.window);
                break;
            case Order::Verb::close:
                xcb_destroy_window(server_, order.window);
                break;
            default:
                xcb_change_window_attributes(server_, root_, XCB_CW_BACK_PIXEL, &order.colour);
                xcb_clear_area(server_, 0, root_, 0, 0, 0, 0);
        }
        return order.window;
    }

    void fill(xcb_window_t window, const Order& order) {
        const xcb_gcontext_t context = xcb_generate_id(server_);
        xcb_create_gc(server_, context, window, XCB_GC_FOREGROUND, &order.colour);
        const xcb_rectangle_t part = asRectangle(order.rect);
        xcb_poly_fill_rectangle(server_, window, context, 1, &part);
        xcb_free_gc(server_, context);
    }

    void place(xcb_window_t window, const PixelRect& rect) {
        const std::uint32_t values[] = {
            static_cast<std::uint32_t>(rect.x), static_cast<std::uint32_t>(rect.y),
            static_cast<std::uint32_t>(rect.width), static_cast<std::uint32_t>(rect.height)};
        xcb_configure_window(
            server_, window,
            XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
            values);
    }

    void raise(xcb_window_t window) {
        const std::uint32_t mode = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(server_, window, XCB_CONFIG_WINDOW_STACK_MODE, &mode);
    }

    void minimise(xcb_window_t window) {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = window;
        event.type = atomOf(server_, "WM_CHANGE_STATE");
        event.data.data32[0] = XCB_ICCCM_WM_STATE_ICONIC;
        xcb_send_event(server_, 0, root_,
                       XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                       reinterpret_cast<const char*>(&event));
    }

    XConnection connection_;
    xcb_connection_t* server_;
    xcb_window_t root_;
};

XPainter::XPainter(const std::string& display) {
    int ends[2] = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        throw std::runtime_error("no socket");
    process_ = ::fork();
    if (process_ < 0) throw std::runtime_error("fork failed");
    socket_ = ends[0];
    if (process_ > 0) {
        ::close(ends[1]);
        return;
    }
    ::close(ends[0]);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    Process process(display);
    Order order;
    while (::read(ends[1], &order, sizeof order) == sizeof order) {
        const xcb_window_t result = process.carryOut(order);
        if (::write(ends[1], &result, sizeof result) != sizeof result) break;
    }
    ::_exit(0);
}

XPainter::~XPainter() {
    ::close(socket_);
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
}

xcb_window_t XPainter::carryOut(const Order& order) {
    xcb_window_t window = 0;
    if (::write(socket_, &order, sizeof order) != sizeof order
        || ::read(socket_, &window, sizeof window) != sizeof window) {
        throw std::runtime_error("the painter has gone");
    }
    return window;
}

xcb_window_t XPainter::show(Kind kind, const PixelRect& place, std::uint32_t colour) {
    return carryOut({Order::Verb::show, kind, 0, place, colour});
}

void XPainter::fill(xcb_window_t window, const PixelRect& part, std::uint32_t colour) {
    carryOut({Order::Verb::fill, {}, window, part, colour});
}

void XPainter::place(xcb_window_t window, const PixelRect& place) {
    carryOut({Order::Verb::place, {}, window, place});
}

void XPainter::raise(xcb_window_t window) {
    carryOut({Order::Verb::raise, {}, window});
}

void XPainter::map(xcb_window_t window) {
    carryOut({Order::Verb::map, {}, window});
}

void XPainter::minimise(xcb_window_t window) {
    carryOut({Order::Verb::minimise, {}, window});
}

void XPainter::close(xcb_window_t window) {
    carryOut({Order::Verb::close, {}, window});
}

void XPainter::setWallpaper(std::uint32_t colour) {
    carryOut({Order::Verb::wallpaper, {}, 0, {}, colour});
}

} // namespace glintro::test
