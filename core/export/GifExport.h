#pragma once

#include <filesystem>

#include "core/export/Exporter.h"
#include "core/export/FramePipeline.h"

namespace glintro {

// Draws a reel and writes it to `file` as a GIF that loops for ever, one frame each 1 / gifFPS seconds.
// Leaves a partial file when it fails.
[[nodiscard]] Result<ExportOutcome> writeGif(ReelComposition& reel, const FrameRenderer& renderer,
                                             PixelSize canvas, const ExportRequest& request,
                                             const std::filesystem::path& file);

} // namespace glintro
