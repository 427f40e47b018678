#include "platform/linux/sound/PulseOutput.h"

#include <algorithm>
#include <span>
#include <utility>

namespace glintro {
namespace {

// Short enough that the picture follows the sound at once, long enough for a busy machine.
constexpr std::uint32_t kBuffer = kSoundRate / 20; // samples: 50 ms
constexpr std::uint32_t kRequest = kSoundRate / 100;

} // namespace

Result<void> PulseOutput::start(Source source) {
    stop();
    auto connection = PulseConnection::open();
    if (!connection) return std::unexpected(connection.error());
    connection_ = std::move(*connection);
    source_ = std::move(source);
    auto connected = connectStream();
    if (!connected) stop();
    return connected;
}

Result<void> PulseOutput::connectStream() {
    const PulseConnection::Lock lock(*connection_);
    const pa_sample_spec format{PA_SAMPLE_FLOAT32NE, kSoundRate, static_cast<std::uint8_t>(channels_)};
    stream_.reset(pa_stream_new(connection_->context(), "Playback", &format, nullptr));
    if (stream_) {
        const auto wakeUp = [](pa_stream*, void* self) {
            static_cast<PulseOutput*>(self)->connection_->wake();
        };
        const auto write = [](pa_stream*, std::size_t bytes, void* self) {
            static_cast<PulseOutput*>(self)->write(bytes);
        };
        pa_stream_set_state_callback(stream_.get(), wakeUp, this);
        pa_stream_set_write_callback(stream_.get(), write, this);
    }
    constexpr auto unset = static_cast<std::uint32_t>(-1);
    const auto frame = static_cast<std::uint32_t>(pa_frame_size(&format));
    const pa_buffer_attr buffer{unset, kBuffer * frame, unset, kRequest * frame, unset};
    // NOLINTNEXTLINE(clang-analyzer-optin.core.EnumCastOutOfRange): flags, of which several are set.
    const auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_AUTO_TIMING_UPDATE
                                                      | PA_STREAM_INTERPOLATE_TIMING);
    if (stream_ && pa_stream_connect_playback(stream_.get(), nullptr, &buffer, flags, nullptr, nullptr) == 0
        && connection_->awaitReady(stream_.get())) {
        return {};
    }
    const int error = pa_context_errno(connection_->context());
    return failure("There is no sound output; connect speakers or headphones.", pa_strerror(error), error);
}

void PulseOutput::stop() {
    if (!connection_) return;
    if (stream_) {
        const PulseConnection::Lock lock(*connection_);
        pa_stream_disconnect(stream_.get()); // the server drops what it has not played
        pa_stream_set_state_callback(stream_.get(), nullptr, nullptr);
        pa_stream_set_write_callback(stream_.get(), nullptr, nullptr);
        stream_.reset();
    }
    connection_.reset();
    source_ = nullptr;
}

void PulseOutput::write(std::size_t bytes) {
    const std::size_t frame = sizeof(float) * static_cast<std::size_t>(channels_);
    while (bytes >= frame) {
        void* data = nullptr;
        std::size_t room = bytes;
        if (pa_stream_begin_write(stream_.get(), &data, &room) < 0 || data == nullptr) return;
        room = std::min(room, bytes) / frame * frame;
        if (room == 0) {
            pa_stream_cancel_write(stream_.get());
            return;
        }
        source_(std::span(static_cast<float*>(data), room / sizeof(float)));
        if (pa_stream_write(stream_.get(), data, room, nullptr, 0, PA_SEEK_RELATIVE) < 0) return;
        bytes -= room;
    }
}

Seconds PulseOutput::latency() const {
    constexpr Seconds expected = static_cast<Seconds>(kBuffer) / kSoundRate;
    if (!connection_) return expected;
    const PulseConnection::Lock lock(*connection_);
    pa_usec_t latency = 0;
    int isNegative = 0;
    if (pa_stream_get_latency(stream_.get(), &latency, &isNegative) < 0) return expected;
    return isNegative != 0 ? 0 : static_cast<Seconds>(latency) / PA_USEC_PER_SEC;
}

} // namespace glintro
