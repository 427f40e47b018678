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

// Encodes H.264 or HEVC in 4:2:0 during a recording: no picture is held back or reordered, and a picture may
// come at any time. It starts on the best rung of a ladder of encoders that keeps up on this machine, which a
// short trial tells, and can step down the ladder during the recording: the parameter sets of each rung have
// ids of their own and all of them are in the stream's description, so that a decoder follows. One thread at
// a time, but any thread may call stepDown() and name().
class LiveVideoEncoder {
  public:
    // H.264 instead of HEVC where the machine has no hardware for that and is too slow without.
    [[nodiscard]] static Result<std::unique_ptr<LiveVideoEncoder>> create(const LiveVideoSettings& settings);
    // On the caller's ladder, from its top, without a trial.
    [[nodiscard]] static Result<std::unique_ptr<LiveVideoEncoder>> create(
        const LiveVideoSettings& settings, std::vector<LiveEncoderRung> ladder);

    // What describes the stream to a muxer, the parameter sets of all rungs included.
    const AVCodecContext& context() const { return *description_; }

    // `time` in ticks of kLiveTimeBase, ascending. The planes are read before the call returns, and the
    // packet is handed to the sink in it. An encoder that fails is replaced by the next rung's.
    [[nodiscard]] Result<void> encode(const Picture& picture, std::int64_t time, const PacketSink& sink);

    VideoCodec codec() const { return settings_.codec; }
    bool stepDown(); // to the next lower rung, from the next picture on; false at the lowest
    std::string name() const { return ladder_[rung_].name(); }

  private:
    LiveVideoEncoder(const LiveVideoSettings& settings, std::vector<LiveEncoderRung> ladder)
        : settings_(settings), ladder_(std::move(ladder)) {}
    [[nodiscard]] Result<void> describe();
    [[nodiscard]] Result<void> copyDescription(std::span<const std::uint8_t> parameterSets);
    [[nodiscard]] Result<void> openWantedRung();
    [[nodiscard]] Result<void> encodeOnce(const Picture& picture, std::int64_t time, const PacketSink& sink);
    bool needsKeyFrame(std::int64_t time) const;

    LiveVideoSettings settings_;
    std::vector<LiveEncoderRung> ladder_; // the best first; never empty, constant after create
    CodecPtr description_;
    CodecPtr encoder_;
    std::size_t openRung_ = 0;         // that of encoder_
    std::atomic<std::size_t> rung_{0}; // the wanted one
    std::optional<std::int64_t> lastTime_;
    std::optional<std::int64_t> lastKeyTime_; // of encoder_; absent until its first key frame
};

} // namespace glintro
