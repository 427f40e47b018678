#pragma once

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include <pulse/pulseaudio.h>

#include "platform/HostClock.h"
#include "platform/Sound.h"

namespace glintro::test {

// Plays a click of one sample into an output every 0.3 s, and tells when each of them was heard: as the
// server says how far it has come. What it says is late by any delay, so the earliest word counts.
class ClickPlayer {
  public:
    explicit ClickPlayer(const std::string& sink) {
        loop_ = pa_threaded_mainloop_new();
        context_ = pa_context_new(pa_threaded_mainloop_get_api(loop_), "Clicks");
        pa_context_set_state_callback(
            context_,
            [](pa_context*, void* self) {
                pa_threaded_mainloop_signal(static_cast<ClickPlayer*>(self)->loop_, 0);
            },
            this);
        pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
        pa_threaded_mainloop_start(loop_);
        pa_threaded_mainloop_lock(loop_);
        while (PA_CONTEXT_IS_GOOD(pa_context_get_state(context_))
               && pa_context_get_state(context_) != PA_CONTEXT_READY) {
            pa_threaded_mainloop_wait(loop_);
        }
        play(sink);
        pa_threaded_mainloop_unlock(loop_);
    }

    ~ClickPlayer() {
        pa_threaded_mainloop_stop(loop_);
        pa_stream_unref(stream_);
        pa_context_disconnect(context_);
        pa_context_unref(context_);
        pa_threaded_mainloop_free(loop_);
    }

    ClickPlayer(const ClickPlayer&) = delete;
    ClickPlayer& operator=(const ClickPlayer&) = delete;

    std::vector<Seconds> heardTimes() {
        pa_threaded_mainloop_lock(loop_);
        std::vector<Seconds> times;
        for (std::size_t click = 0; click < written_; click += kSpacing) {
            times.push_back(firstHeard_ + static_cast<double>(click) / kSoundRate);
        }
        pa_threaded_mainloop_unlock(loop_);
        return times;
    }

  private:
    static constexpr std::size_t kSpacing = kSoundRate * 3 / 10;

    void play(const std::string& sink) {
        const pa_sample_spec format{PA_SAMPLE_FLOAT32NE, kSoundRate, 1};
        const auto unset = static_cast<std::uint32_t>(-1);
        const pa_buffer_attr buffer{unset, kSoundRate / 10 * sizeof(float), unset, unset, unset};
        stream_ = pa_stream_new(context_, "Clicks", &format, nullptr);
        if (stream_ == nullptr) throw std::runtime_error("no stream for clicks");
        pa_stream_set_write_callback(
            stream_,
            [](pa_stream*, std::size_t bytes, void* self) { static_cast<ClickPlayer*>(self)->write(bytes); },
            this);
        pa_stream_set_latency_update_callback(
            stream_, [](pa_stream*, void* self) { static_cast<ClickPlayer*>(self)->noteProgress(); }, this);
        pa_stream_connect_playback(
            stream_, sink.c_str(), &buffer,
            static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_AUTO_TIMING_UPDATE), nullptr,
            nullptr);
    }

    void write(std::size_t bytes) {
        std::vector<float> samples(bytes / sizeof(float));
        for (float& sample : samples) sample = written_++ % kSpacing == 0 ? 0.9F : 0.0F;
        pa_stream_write(stream_, samples.data(), samples.size() * sizeof(float), nullptr, 0,
                        PA_SEEK_RELATIVE);
        if (pa_operation* update = pa_stream_update_timing_info(stream_, nullptr, nullptr)) {
            pa_operation_unref(update);
        }
    }

    void noteProgress() {
        const pa_timing_info* timing = pa_stream_get_timing_info(stream_);
        if (timing == nullptr || timing->playing == 0 || timing->read_index_corrupt != 0) return;
        const Seconds played = static_cast<Seconds>(timing->read_index) / sizeof(float) / kSoundRate;
        const Seconds ahead = static_cast<Seconds>(timing->sink_usec) / PA_USEC_PER_SEC;
        firstHeard_ = std::min(firstHeard_, hostTime() + ahead - played);
    }

    pa_threaded_mainloop* loop_ = nullptr;
    pa_context* context_ = nullptr;
    pa_stream* stream_ = nullptr;
    std::size_t written_ = 0;
    Seconds firstHeard_ = std::numeric_limits<Seconds>::max(); // when sample 0 was
};

} // namespace glintro::test
