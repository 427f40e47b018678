#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "core/export/GifFrame.h"

namespace glintro {

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
