#pragma once

#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <pulse/pulseaudio.h>

#include "platform/HostClock.h"
#include "platform/Sound.h"

namespace glintro::test {

// Plays a short click into an output every 0.3 s, and tells when each of them is heard as the server says of
// its own playing.
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
        const std::lock_guard lock(mutex_);
        return heardTimes_;
    }

  private:
    static constexpr std::size_t kSpacing = kSoundRate * 3 / 10;

    void play(const std::string& sink) {
        const pa_sample_spec format{PA_SAMPLE_FLOAT32NE, kSoundRate, 1};
        const auto unset = static_cast<std::uint32_t>(-1);
        const pa_buffer_attr buffer{unset, kSoundRate / 25 * sizeof(float), unset, unset, unset};
        stream_ = pa_stream_new(context_, "Clicks", &format, nullptr);
        if (stream_ == nullptr) throw std::runtime_error("no stream for clicks");
        pa_stream_set_write_callback(
            stream_,
            [](pa_stream*, std::size_t bytes, void* self) { static_cast<ClickPlayer*>(self)->write(bytes); },
            this);
        pa_stream_connect_playback(
            stream_, sink.c_str(), &buffer,
            static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_AUTO_TIMING_UPDATE
                                           | PA_STREAM_INTERPOLATE_TIMING),
            nullptr, nullptr);
    }

    void write(std::size_t bytes) {
        std::vector<float> samples(bytes / sizeof(float));
        pa_usec_t latency = 0;
        int negative = 0;
        const bool known = pa_stream_get_latency(stream_, &latency, &negative) == 0;
        const Seconds first = hostTime() + static_cast<Seconds>(latency) / PA_USEC_PER_SEC;
        for (std::size_t i = 0; i < samples.size(); ++i, ++written_) {
            if (written_ % kSpacing != kSpacing / 2 || !known) continue;
            samples[i] = 0.9F;
            const std::lock_guard lock(mutex_);
            heardTimes_.push_back(first + static_cast<double>(i) / kSoundRate);
        }
        pa_stream_write(stream_, samples.data(), samples.size() * sizeof(float), nullptr, 0,
                        PA_SEEK_RELATIVE);
    }

    pa_threaded_mainloop* loop_ = nullptr;
    pa_context* context_ = nullptr;
    pa_stream* stream_ = nullptr;
    std::size_t written_ = 0;
    std::mutex mutex_;
    std::vector<Seconds> heardTimes_;
};

} // namespace glintro::test
