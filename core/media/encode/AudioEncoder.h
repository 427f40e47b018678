#pragma once

#include <memory>
#include <span>

#include "core/media/FFmpegHandles.h"
#include "core/media/encode/MovieWriter.h"
#include "core/media/encode/VideoEncoder.h"

namespace glintro {

// AAC from interleaved float samples; time base 1 / sample rate. The encoder's own start-up samples carry
// negative times, so that the first sample handed in is at 0.
class AudioEncoder {
  public:
    [[nodiscard]] static Result<std::unique_ptr<AudioEncoder>> create(const AudioTrackSettings& settings);

    const AVCodecContext& context() const { return *context_; }

    [[nodiscard]] Result<void> encode(std::span<const float> interleaved, const PacketSink& sink);
    [[nodiscard]] Result<void> flush(const PacketSink& sink);

  private:
    explicit AudioEncoder(CodecPtr context) : context_(std::move(context)) {}
    [[nodiscard]] Result<void> startFrame();
    [[nodiscard]] Result<void> sendFrame(const PacketSink& sink);

    CodecPtr context_;
    FramePtr frame_; // being filled, null between frames
    int filled_ = 0; // samples of frame_, per channel
    std::int64_t nextTime_ = 0;
};

} // namespace glintro
