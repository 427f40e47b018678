// What a recording is held against: at times of its own choice this program turns the whole screen white for
// a moment, presses the left button in the same instant, and lets a sink sound a click then. It prints the
// host time of each such instant as one line, and ends after the last one.
//
//   flash_and_click COUNT INTERVAL [SINK]      INTERVAL in seconds; without SINK nothing sounds

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

#include <pulse/pulseaudio.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include "platform/HostClock.h"

namespace {

using glintro::hostTime;
using glintro::Seconds;

constexpr int kRate = 48000;
constexpr int kClickLength = 240; // samples

void sleepUntil(Seconds host) {
    const std::chrono::steady_clock::time_point due(std::chrono::nanoseconds(std::llround(host * 1e9)));
    std::this_thread::sleep_until(due);
}

// Feeds a sink with silence all the time, and knows when each sample of it will sound.
class Sounder {
  public:
    explicit Sounder(const char* sink) : loop_(pa_threaded_mainloop_new()) {
        pa_threaded_mainloop_start(loop_);
        pa_threaded_mainloop_lock(loop_);
        context_ = pa_context_new(pa_threaded_mainloop_get_api(loop_), "flash_and_click");
        pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
        waitUntil([this] { return pa_context_get_state(context_) == PA_CONTEXT_READY; });
        const pa_sample_spec format{PA_SAMPLE_FLOAT32NE, kRate, 1};
        stream_ = pa_stream_new(context_, "clicks", &format, nullptr);
        pa_stream_set_write_callback(
            stream_,
            [](pa_stream*, std::size_t bytes, void* self) {
                static_cast<Sounder*>(self)->fill(bytes / sizeof(float));
            },
            this);
        const pa_buffer_attr buffer{.maxlength = UINT32_MAX,
                                    .tlength = 40 * kRate / 1000 * 4,
                                    .prebuf = 0,
                                    .minreq = UINT32_MAX,
                                    .fragsize = UINT32_MAX};
        pa_stream_connect_playback(
            stream_, sink, &buffer,
            static_cast<pa_stream_flags_t>(PA_STREAM_INTERPOLATE_TIMING | PA_STREAM_AUTO_TIMING_UPDATE
                                           | PA_STREAM_ADJUST_LATENCY),
            nullptr, nullptr);
        waitUntil([this] { return pa_stream_get_state(stream_) == PA_STREAM_READY; });
        pa_threaded_mainloop_unlock(loop_);
    }

    ~Sounder() {
        pa_threaded_mainloop_stop(loop_);
        pa_stream_unref(stream_);
        pa_context_disconnect(context_);
        pa_context_unref(context_);
        pa_threaded_mainloop_free(loop_);
    }

    void clickAt(Seconds host) { clickAt_ = host; }

  private:
    void waitUntil(const auto& reached) {
        while (!reached()) {
            pa_threaded_mainloop_unlock(loop_);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            pa_threaded_mainloop_lock(loop_);
        }
    }

    void fill(std::size_t samples) {
        const Seconds soundsAt = timeOfNextSample();
        std::unique_ptr<float[]> block(new float[samples]());
        for (std::size_t i = 0; i < samples; ++i) {
            const Seconds since = soundsAt + static_cast<double>(i) / kRate - clickAt_;
            const int sample = static_cast<int>(std::floor(since * kRate));
            if (sample >= 0 && sample < kClickLength) block[i] = sample / 12 % 2 == 0 ? 0.8F : -0.8F;
        }
        written_ += static_cast<std::int64_t>(samples);
        pa_stream_write(stream_, block.get(), samples * sizeof(float), nullptr, 0, PA_SEEK_RELATIVE);
    }

    Seconds timeOfNextSample() {
        pa_usec_t played = 0;
        if (pa_stream_get_time(stream_, &played) < 0) return hostTime();
        return hostTime() + static_cast<double>(written_) / kRate - static_cast<double>(played) / 1e6;
    }

    pa_threaded_mainloop* loop_;
    pa_context* context_ = nullptr;
    pa_stream* stream_ = nullptr;
    std::int64_t written_ = 0;
    std::atomic<Seconds> clickAt_ = -1;
};

class Screen {
  public:
    Screen() : connection_(xcb_connect(nullptr, nullptr)) {
        if (xcb_connection_has_error(connection_) != 0) std::exit(1);
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
        window_ = xcb_generate_id(connection_);
        const std::uint32_t values[] = {0x101010, 1};
        xcb_create_window(connection_, screen->root_depth, window_, screen->root, 0, 0,
                          screen->width_in_pixels, screen->height_in_pixels, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          screen->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
        xcb_map_window(connection_, window_);
        synchronise();
    }
    ~Screen() { xcb_disconnect(connection_); }

    void fill(std::uint32_t colour) {
        xcb_change_window_attributes(connection_, window_, XCB_CW_BACK_PIXEL, &colour);
        xcb_clear_area(connection_, 0, window_, 0, 0, 0, 0);
    }
    void button(std::uint8_t type) {
        xcb_test_fake_input(connection_, type, 1, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    }
    void synchronise() {
        std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
    }

  private:
    xcb_connection_t* connection_;
    xcb_window_t window_ = 0;
};

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    const int count = std::atoi(argv[1]);
    const double interval = std::atof(argv[2]);
    Screen screen;
    const auto sounder = argc > 3 ? std::make_unique<Sounder>(argv[3]) : nullptr;
    for (int i = 0; i < count; ++i) {
        const Seconds instant = hostTime() + interval;
        if (sounder) sounder->clickAt(instant);
        sleepUntil(instant);
        screen.button(XCB_BUTTON_PRESS);
        screen.fill(0xffffff);
        screen.synchronise();
        const Seconds shown = hostTime();
        screen.button(XCB_BUTTON_RELEASE);
        screen.synchronise();
        // Held up for so long that it is another instant than the sound's, this one proves nothing.
        if (shown - instant < 0.004) std::printf("%.6f\n", instant);
        std::fflush(stdout);
        sleepUntil(instant + interval / 4);
        screen.fill(0x101010);
        screen.synchronise();
    }
    return 0;
}
