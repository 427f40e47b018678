#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "core/media/FFmpegHandles.h"
#include "core/media/encode/LiveEncoderRung.h"
#include "core/media/encode/LiveMovieWriter.h"
#include "core/media/encode/VideoEncoder.h"

namespace glintro {

// Fine enough for a frame at any time, and common in movies.
inline constexpr AVRational kLiveTimeBase{1, 90000};

// H.264 or HEVC in 4:2:0 while it is being recorded: no picture is held back, none is reordered, and a
// picture may come at any time. It starts on the best rung of a ladder of encoders that keeps up on this
// machine, which a short trial tells, and can be moved down the ladder on the way: each rung's parameter sets
// carry an id of their own and all of them are in the stream's description, so that a decoder follows.
// Calls come from one thread at a time, but for stepDown() and name(), which any may call.
class LiveVideoEncoder {
  public:
    static Result<std::unique_ptr<LiveVideoEncoder>> create(const LiveVideoSettings& settings);
    // On a ladder of the caller's, from its top, without a trial.
    static Result<std::unique_ptr<LiveVideoEncoder>> create(const LiveVideoSettings& settings,
                                                            std::vector<LiveEncoderRung> ladder);

    // What describes the stream to a muxer, the parameter sets of all rungs included.
    const AVCodecContext& context() const { return *description_; }

    // `time` in ticks of kLiveTimeBase, ascending. The planes are read before the call returns, and the
    // packet is handed to the sink in it. An encoder that fails is replaced by the next rung's.
    Result<void> encode(const Picture& picture, std::int64_t time, const PacketSink& sink);

    bool stepDown(); // to the next lower rung, from the next picture on; false at the lowest
    std::string name() const { return ladder_[rung_].name(); }

  private:
    LiveVideoEncoder(const LiveVideoSettings& settings, std::vector<LiveEncoderRung> ladder)
        : settings_(settings), ladder_(std::move(ladder)) {}
    Result<void> describe();
    Result<void> copyDescription(std::span<const std::uint8_t> parameterSets);
    Result<void> openWantedRung();
    Result<void> encodeOnce(const Picture& picture, std::int64_t time, const PacketSink& sink);
    bool needsKeyFrame(std::int64_t time) const;

    LiveVideoSettings settings_;
    std::vector<LiveEncoderRung> ladder_; // the best first; never empty, and left alone after create
    CodecPtr description_;
    CodecPtr encoder_;
    std::size_t openRung_ = 0;         // that of encoder_
    std::atomic<std::size_t> rung_{0}; // the wanted one
    std::optional<std::int64_t> lastTime_;
    std::optional<std::int64_t> lastKeyTime_; // of encoder_: absent, it owes a key frame
};

} // namespace glintro
