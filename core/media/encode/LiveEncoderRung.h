#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/media/FFmpegHandles.h"
#include "core/media/encode/LiveMovieWriter.h"

namespace glintro {

// One way to encode a movie while it is recorded: FFmpeg's name of an encoder, and its effort.
struct LiveEncoderRung {
    std::string codec;           // "libx264"
    std::string preset = {};     // x264's and x265's
    std::string deviceType = {}; // of the hardware that pictures must be carried to, as FFmpeg calls it
    int parameterSetId = 0;      // of the SPS and PPS; only x264 lets us choose
    int threads = 1;             // more make one picture faster and all of them dearer

    std::string name() const { return preset.empty() ? codec : codec + " " + preset; }
    // Another rung may take over on the way. With HEVC it may not: all its encoders number their parameter
    // sets alike.
    bool mayBeLeft() const { return codec.starts_with("h264_") || codec == "libx264"; }
};

// All ways for a codec, the best first: hardware, then software with less and less effort.
std::vector<LiveEncoderRung> liveLadder(const LiveVideoSettings& settings);

// Fails when FFmpeg has no such encoder, or this machine not its hardware.
Result<CodecPtr> openRung(const LiveEncoderRung& rung, const LiveVideoSettings& settings);

// A frame that an encoder of openRung takes: over the picture's own planes where it reads those, else
// converted and carried to its hardware.
Result<FramePtr> frameFor(const AVCodecContext& encoder, const Picture& picture);

// How much of the time between two frames an encoder needs for one: 1 is all of it. Nothing when it does not
// give a packet for every picture. The encoder is spent by that.
std::optional<double> loadOf(AVCodecContext& encoder, const LiveVideoSettings& settings);

} // namespace glintro
