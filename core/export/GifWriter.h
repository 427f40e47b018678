#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "core/export/GifPalette.h"

namespace glintro {

// One picture of an animated GIF: an index for every pixel of the canvas, row by row.
struct GifFrame {
    std::vector<std::uint8_t> indices;
    std::vector<GifColour> palette; // at most 256
    // Pixels with this index stay as they were in the frame before. It needs no colour of its own, but must
    // not have a used one.
    std::optional<std::uint8_t> kept = {};
};

// Writes an endlessly looping GIF, frame by frame, as cgif encodes it. One thread at a time.
class GifWriter {
  public:
    // `canvas` must be at least 1 x 1 and at most 65535 x 65535 pixels.
    [[nodiscard]] static Result<std::unique_ptr<GifWriter>> create(const std::filesystem::path& file,
                                                                   PixelSize canvas);
    virtual ~GifWriter() = default;

    // `delay` is how long the frame is shown, in hundredths of a second.
    [[nodiscard]] virtual Result<void> add(const GifFrame& frame, int delay) = 0;
    // Completes the file; nothing may be added afterwards. Without it the file is not a GIF.
    [[nodiscard]] virtual Result<void> finish() = 0;
};

// How long frame `index` (from 0) of a GIF at `fps` frames a second is shown, in hundredths of a second, at
// least two. It ends at the last whole hundredth before its time, so that rounding never adds up; this holds
// up to 50 frames a second.
int gifDelay(std::int64_t index, int fps);

} // namespace glintro
