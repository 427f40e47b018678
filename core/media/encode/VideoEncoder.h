#pragma once

#include <functional>
#include <memory>

#include "core/media/FFmpegHandles.h"
#include "core/media/encode/MovieWriter.h"

namespace glintro {

// Receives one encoded packet, its times in the encoder's time base.
using PacketSink = std::function<Result<void>(AVPacket&)>;

// H.264 High in 4:2:0, tagged BT.709 limited range with left-sited chroma; time base 1 / fps.
class VideoEncoder {
  public:
    [[nodiscard]] static Result<std::unique_ptr<VideoEncoder>> create(const VideoTrackSettings& settings);

    const AVCodecContext& context() const { return *context_; }

    // `index` must ascend. The picture's planes are read before the call returns, or kept alive by its
    // storage.
    [[nodiscard]] Result<void> encode(const Picture& picture, std::int64_t index, const PacketSink& sink);
    [[nodiscard]] Result<void> flush(const PacketSink& sink);

  private:
    explicit VideoEncoder(CodecPtr context) : context_(std::move(context)) {}
    CodecPtr context_;
    std::int64_t lastIndex_ = -1;
};

// A frame over the picture's own planes, which holds on to the picture's storage.
FramePtr frameOver(const Picture& picture);

// Sends one frame (null: no more) to an encoder and passes on every packet that is ready.
[[nodiscard]] Result<void> pumpEncoder(AVCodecContext& encoder, const AVFrame* frame, const PacketSink& sink);

} // namespace glintro
