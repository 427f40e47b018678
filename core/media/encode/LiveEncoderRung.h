#pragma once

#include <string>
#include <vector>

#include "core/media/FFmpegHandles.h"
#include "core/media/encode/LiveMovieWriter.h"

namespace glintro {

// One way to encode a movie while it is recorded: FFmpeg's name of an encoder, and its effort.
struct LiveEncoderRung {
    std::string codec;           // "libx264"
    std::string preset = {};     // x264's and x265's
    std::string deviceType = {}; // of the hardware that pictures must be uploaded to, as FFmpeg calls it
    int parameterSetId = 0;      // asked of x264; hardware uses what it likes, 0 as a rule
    int threads = 1;             // more lower the latency of a picture but raise total processor time
    bool isReserve = false;      // for a take that falls behind, never to begin with

    std::string name() const { return preset.empty() ? codec : codec + " " + preset; }
    bool isSoftware() const { return codec.starts_with("lib"); }
    // Whether another rung may take over during a take. Not with HEVC: its encoders all number their
    // parameter sets alike.
    bool canBeReplaced() const { return codec.starts_with("h264_") || codec == "libx264"; }
};

// All ways for a codec, the best first: hardware, then software with less and less effort, then a reserve
// that slices each picture among all cores.
std::vector<LiveEncoderRung> liveLadder(const LiveVideoSettings& settings);

// Fails when FFmpeg has no such encoder, or this machine not its hardware.
[[nodiscard]] Result<CodecPtr> openRung(const LiveEncoderRung& rung, const LiveVideoSettings& settings);

// A frame that an encoder of openRung accepts: over the picture's own planes where it reads those, else
// converted and uploaded to its hardware.
[[nodiscard]] Result<FramePtr> frameFor(const AVCodecContext& encoder, const Picture& picture);

} // namespace glintro
