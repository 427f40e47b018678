#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>

#include "core/media/FFmpegHandles.h"
#include "core/raster/Picture.h"

namespace glintro {

// A frame as the decoder gave it, with the pictures that it was converted to so far. Times are in units of
// the video stream. Not safe for use from several threads at once.
struct DecodedFrame {
    static constexpr std::int64_t kLastFrame = std::numeric_limits<std::int64_t>::max();

    FramePtr frame;
    // The frame is known to be on screen in [time(), end). kLastFrame for the movie's last frame.
    std::int64_t end = 0;
    PicturePtr picture = nullptr; // in natural size
    PicturePtr reduced = nullptr; // at most `reducedSide` pixels on the longer side
    int reducedSide = 0;

    std::int64_t time() const { return frame->best_effort_timestamp; }
    bool isShownAt(std::int64_t wanted) const { return time() <= wanted && wanted < end; }
    std::int64_t distance(std::int64_t wanted) const {
        return wanted > time() ? wanted - time() : time() - wanted;
    }
    // Memory of the frame and of a converted picture beside it, in bytes.
    std::size_t bytes() const;
};
using DecodedFramePtr = std::shared_ptr<DecodedFrame>;

} // namespace glintro
