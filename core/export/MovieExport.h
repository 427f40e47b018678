#pragma once

#include <filesystem>

#include "core/export/Exporter.h"
#include "core/export/FramePipeline.h"

namespace glintro {

// The average bit rate of an exported movie: 0.11 bits a pixel, at least 4 Mbit/s.
std::int64_t movieBitRate(PixelSize canvas, int fps);

// Draws a reel and writes it to `file` as MP4: H.264 High at movieBitRate(), a key frame at least every two
// seconds, the reel's sound as stereo AAC. Where none of the sound can be decoded the movie has none, and
// where it ends early the rest is silent: the outcome says so. Leaves a partial file when it fails.
[[nodiscard]] Result<ExportOutcome> writeMovie(ReelComposition& reel, const FrameRenderer& renderer,
                                               PixelSize canvas, const ExportRequest& request,
                                               const std::filesystem::path& file);

} // namespace glintro
