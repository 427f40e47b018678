// Keeps a whole X screen moving at 60 pictures a second: a page of text that scrolls through a window over
// all of it, eight rows further each time. Ends when the server does, or after as many seconds as it is told.
//
//   busy_screen [SECONDS]

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include <xcb/xcb.h>

namespace {

constexpr std::uint16_t kStep = 8; // rows
constexpr std::uint16_t kLineHeight = 16;

struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};

class Page {
  public:
    explicit Page(xcb_connection_t* connection)
        : connection_(connection), screen_(xcb_setup_roots_iterator(xcb_get_setup(connection)).data) {
        const std::uint32_t values[] = {0xf4f4f0, 1};
        xcb_create_window(connection_, screen_->root_depth, window_, screen_->root, 0, 0,
                          screen_->width_in_pixels, screen_->height_in_pixels, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen_->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
        xcb_create_gc(connection_, ink_, window_, 0, nullptr);
        xcb_map_window(connection_, window_);
    }

    bool scroll() {
        const std::uint16_t width = screen_->width_in_pixels, height = screen_->height_in_pixels;
        const auto top = static_cast<std::int16_t>(height - kStep);
        xcb_copy_area(connection_, window_, window_, ink_, 0, kStep, 0, 0, width,
                      static_cast<std::uint16_t>(top));
        xcb_clear_area(connection_, 0, window_, 0, top, width, kStep);
        if (rows_ % kLineHeight == 0) drawHalfLine(top);
        rows_ = static_cast<std::uint16_t>(rows_ + kStep);
        return xcb_flush(connection_) > 0;
    }

  private:
    // Strokes like those of letters.
    void drawHalfLine(std::int16_t top) {
        std::vector<xcb_rectangle_t> strokes;
        for (int x = 20; x < screen_->width_in_pixels - 20; x += 5) {
            if (random_() % 6 == 0) continue;
            strokes.push_back({static_cast<std::int16_t>(x), static_cast<std::int16_t>(top + random_() % 3),
                               static_cast<std::uint16_t>(1 + random_() % 3),
                               static_cast<std::uint16_t>(3 + random_() % 4)});
        }
        const std::uint32_t colour = random_() % 4 == 0 ? 0x2050c0 : 0x202024;
        xcb_change_gc(connection_, ink_, XCB_GC_FOREGROUND, &colour);
        xcb_poly_fill_rectangle(connection_, window_, ink_, static_cast<std::uint32_t>(strokes.size()),
                                strokes.data());
    }

    xcb_connection_t* connection_;
    xcb_screen_t* screen_;
    xcb_window_t window_ = xcb_generate_id(connection_);
    xcb_gcontext_t ink_ = xcb_generate_id(connection_);
    std::minstd_rand random_{1};
    std::uint16_t rows_ = 0;
};

} // namespace

int main(int argc, char** argv) {
    using Clock = std::chrono::steady_clock;
    const double seconds = argc > 1 ? std::atof(argv[1]) : 1e9;
    const std::unique_ptr<xcb_connection_t, Disconnect> connection(xcb_connect(nullptr, nullptr));
    if (xcb_connection_has_error(connection.get()) != 0) {
        std::fprintf(stderr, "busy_screen: no X server answers.\n");
        return 1;
    }
    Page page(connection.get());
    const auto begin = Clock::now();
    for (std::int64_t tick = 1; page.scroll(); ++tick) {
        const auto due = begin + tick * std::chrono::nanoseconds(16'666'667);
        if (std::chrono::duration<double>(due - begin).count() > seconds) break;
        std::this_thread::sleep_until(due);
    }
    return 0;
}
