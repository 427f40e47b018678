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
    // Refuses a canvas smaller than 1 x 1 or larger than 65535 x 65535 pixels.
    [[nodiscard]] static Result<std::unique_ptr<GifWriter>> create(const std::filesystem::path& file,
                                                                   PixelSize canvas);
    virtual ~GifWriter() = default;

    // `delay` is how long the frame is shown, in hundredths of a second.
    [[nodiscard]] virtual Result<void> add(const GifFrame& frame, int delay) = 0;
    // Completes the file; nothing may be added afterwards. Without it the file is not a GIF.
    [[nodiscard]] virtual Result<void> finish() = 0;
};

// Viewers show a frame whose delay is below two hundredths of a second for ten of them instead.
inline constexpr int kMostGifFrames = 50; // a second

// Refuses a frame rate outside 1..kMostGifFrames.
[[nodiscard]] Result<void> checkGifRate(int fps);

// How long frame `index` (from 0) of a GIF at `fps` frames a second is shown, in hundredths of a second. It
// ends at the last whole hundredth before its time, so that rounding never adds up. `fps` is
// in 1..kMostGifFrames.
int gifDelay(std::int64_t index, int fps);

} // namespace glintro
