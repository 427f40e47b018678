#include "platform/linux/sound/PulseMicrophone.h"

#include <numeric>
#include <span>
#include <utility>

#include "platform/HostClock.h"

namespace glintro {
namespace {

constexpr std::uint32_t kFragment = kSoundRate / 100; // samples: 10 ms

PulseMicrophone* owner(void* self) {
    return static_cast<PulseMicrophone*>(self);
}

} // namespace

Result<void> PulseMicrophone::start(std::function<void(const SoundBlock&)> heard,
                                    std::function<void(Failure)> lost) {
    stop();
    auto connection = PulseConnection::open();
    if (!connection) return std::unexpected(connection.error());
    connection_ = std::move(*connection);
    heard_ = std::move(heard);
    clock_ = SampleClock(kSoundRate);
    if (auto connected = connectStream(); !connected) {
        stop();
        return connected;
    }
    const PulseConnection::Lock lock(*connection_);
    lost_ = std::move(lost);
    checkState();
    return {};
}

Result<void> PulseMicrophone::connectStream() {
    const PulseConnection::Lock lock(*connection_);
    const auto channels = source_.channels.channels;
    const pa_sample_spec format{PA_SAMPLE_FLOAT32NE, kSoundRate, channels};
    stream_.reset(pa_stream_new(connection_->context(), "Recording", &format, &source_.channels));
    constexpr auto unset = static_cast<std::uint32_t>(-1);
    const auto fragment = static_cast<std::uint32_t>(kFragment * sizeof(float) * channels);
    const pa_buffer_attr buffer{unset, unset, unset, unset, fragment};
    // NOLINTNEXTLINE(clang-analyzer-optin.core.EnumCastOutOfRange): flags, of which several are set.
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_AUTO_TIMING_UPDATE
                                                      | PA_STREAM_DONT_MOVE);
    if (stream_) setCallbacks();
    if (stream_ && pa_stream_connect_record(stream_.get(), source_.device.id.c_str(), &buffer, flags) == 0
        && connection_->awaitReady(stream_.get())) {
        return {};
    }
    const int error = pa_context_errno(connection_->context());
    return failure("The microphone “" + source_.device.name + "” can’t be used; choose another one.",
                   pa_strerror(error), error);
}

void PulseMicrophone::setCallbacks() {
    pa_stream* stream = stream_.get();
    pa_stream_set_state_callback(
        stream, [](pa_stream*, void* self) { owner(self)->checkState(); }, this);
    pa_stream_set_read_callback(
        stream, [](pa_stream*, std::size_t readable, void* self) { owner(self)->read(readable); }, this);
    pa_stream_set_latency_update_callback(
        stream, [](pa_stream*, void* self) { owner(self)->noteLatency(); }, this);
    const auto interrupted = [](pa_stream*, void* self) { owner(self)->clock_.interrupted(); };
    pa_stream_set_overflow_callback(stream, interrupted, this);
    pa_stream_set_suspended_callback(stream, interrupted, this);
}

// Under the lock, before anything goes: a callback that is running has ended then.
void PulseMicrophone::stop() {
    if (!connection_) return;
    if (stream_) {
        const PulseConnection::Lock lock(*connection_);
        pa_stream_disconnect(stream_.get());
        pa_stream_set_state_callback(stream_.get(), nullptr, nullptr);
        pa_stream_set_read_callback(stream_.get(), nullptr, nullptr);
        pa_stream_set_latency_update_callback(stream_.get(), nullptr, nullptr);
        pa_stream_set_overflow_callback(stream_.get(), nullptr, nullptr);
        pa_stream_set_suspended_callback(stream_.get(), nullptr, nullptr);
        stream_.reset();
    }
    connection_.reset();
    heard_ = nullptr;
    lost_ = nullptr;
}

void PulseMicrophone::read(std::size_t readable) {
    const std::size_t frame = sizeof(float) * source_.channels.channels;
    clock_.arrived(readable / frame, hostTime());
    while (pa_stream_readable_size(stream_.get()) > 0) {
        const void* data = nullptr;
        std::size_t bytes = 0;
        if (pa_stream_peek(stream_.get(), &data, &bytes) < 0 || bytes == 0) return;
        // The server leaves a hole where samples got lost: time goes on, silently.
        if (data == nullptr) {
            clock_.consume(bytes / frame);
        } else {
            hear(static_cast<const float*>(data), bytes / frame);
        }
        pa_stream_drop(stream_.get());
    }
}

void PulseMicrophone::hear(const float* interleaved, std::size_t count) {
    const std::size_t channels = source_.channels.channels;
    std::span<const float> samples(interleaved, count);
    if (channels > 1) {
        mono_.resize(count);
        for (std::size_t i = 0; i < count; ++i) {
            const float* first = interleaved + i * channels;
            mono_[i] = std::accumulate(first, first + channels, 0.0F) / static_cast<float>(channels);
        }
        samples = mono_;
    }
    heard_({samples, clock_.consume(count)});
}

void PulseMicrophone::noteLatency() {
    const pa_timing_info* timing = pa_stream_get_timing_info(stream_.get());
    if (timing == nullptr) return;
    clock_.reportLatency(static_cast<Seconds>(timing->source_usec) / PA_USEC_PER_SEC, hostTime());
}

void PulseMicrophone::checkState() {
    connection_->wake();
    if (!lost_ || PA_STREAM_IS_GOOD(pa_stream_get_state(stream_.get()))) return;
    const int error = pa_context_errno(connection_->context());
    const std::string message =
        connection_->isAlive()
            ? "The microphone “" + source_.device.name + "” was disconnected; what follows has no sound."
            : "The sound server has ended; what follows has no sound.";
    std::exchange(lost_, nullptr)(Failure{message, pa_strerror(error), error});
}

} // namespace glintro
