#pragma once

#include <memory>
#include <string>

#include "core/media/FFmpegHandles.h"
#include "core/media/LiveMovieWriter.h"
#include "core/media/VideoEncoder.h"

namespace glintro {

// H.264 or HEVC in 4:2:0 while it is being recorded: no picture is held back, none is reordered, and a
// picture may come at any time. By a hardware encoder where one opens and works, else by x264 or x265 with
// an effort that can be lowered on the way. Time base kLiveTimeBase. One thread at a time.
class LiveVideoEncoder {
  public:
    static Result<std::unique_ptr<LiveVideoEncoder>> create(const LiveVideoSettings& settings);
    ~LiveVideoEncoder();

    // What describes the stream to a muxer, parameter sets included; the same for every effort.
    const AVCodecContext& context() const;

    // `time` in ticks of the time base, ascending. The planes are read before the call returns, and the
    // packet is handed to the sink in it.
    Result<void> encode(const Picture& picture, std::int64_t time, const PacketSink& sink);

    bool stepDown(); // to the next lower effort; false at the lowest
    std::string name() const;

  private:
    struct Impl;
    explicit LiveVideoEncoder(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

// Fine enough for a frame at any time, and common in movies.
inline constexpr AVRational kLiveTimeBase{1, 90000};

} // namespace glintro
