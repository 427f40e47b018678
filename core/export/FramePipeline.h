#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "core/base/Failure.h"
#include "core/export/ExportCancel.h"
#include "core/render/ReelCompositor.h"

namespace glintro {

// What to draw: `total` frames at `fps` frames a second of composition time, in a layout and size.
struct FrameJob {
    ReelComposition& reel;
    const FrameRenderer& renderer;
    PixelLayout layout;
    PixelSize canvas;
    int fps;
    std::int64_t total;
    int workers; // threads that draw, at least 1
};

enum class FrameChange {
    drawn,    // a new picture
    repeated, // the same picture as the frame before
};

// Draws the frames of a reel and hands them, in order, to `write` on the calling thread:
//
//   one reader ──► N drawing threads ──► write
//
// At most workers + 2 frames are in the pipeline, so memory use does not grow with the length of the reel.
// Frames that equal the one before are not drawn again. The pictures do not depend on the number of workers;
// each is valid during its call only, unless its storage is kept. Stops at the first failure of either side,
// and with Failure::cancelled() when `cancel` says so.
[[nodiscard]] Result<void> pumpFrames(
    const FrameJob& job, const ExportCancel& cancel,
    const std::function<Result<void>(const Picture&, std::int64_t index, FrameChange)>& write);

// `wanted` drawing threads, or one for each core of the machine when it is 0.
int drawingThreads(int wanted);

// How many frames a reel of `duration` seconds has: the last one may be shorter than the others, and there is
// at least one. A last frame shorter than a millionth of the others is a rounding error and is not counted.
std::int64_t frameCount(Seconds duration, int fps);

} // namespace glintro
