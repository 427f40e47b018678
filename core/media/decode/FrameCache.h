#pragma once

#include <cstddef>
#include <cstdint>
#include <map>

#include "core/media/decode/DecodedFrame.h"

namespace glintro {

// Decoded frames around the last requested time, bounded in bytes. The furthest frame is dropped first; while
// requests go backwards, frames ahead are dropped before frames behind. Times are in units of the video
// stream. With a bound of 0 the cache stays empty. One thread at a time.
class FrameCache {
  public:
    explicit FrameCache(std::size_t bound) : bound_(bound) {}

    // Tells the requested time. Call once for every request, before `add()`.
    void moveTo(std::int64_t wanted);
    // A frame of the same time is replaced.
    void add(const DecodedFramePtr& frame);
    // Call after a frame was converted: if it is cached, its pictures count towards the bound too.
    void measureAgain(const DecodedFramePtr& frame);

    // The frame on screen at a time, or null.
    DecodedFramePtr find(std::int64_t time) const;
    // The frame whose start is nearest to a time, at most `tolerance` away, or null.
    DecodedFramePtr nearest(std::int64_t time, std::int64_t tolerance) const;

    bool isEnabled() const { return bound_ > 0; }
    bool isMovingBack() const { return isMovingBack_; }

  private:
    struct Entry {
        DecodedFramePtr frame;
        std::size_t bytes; // as they were when it was added
    };
    using Frames = std::map<std::int64_t, Entry>; // by their time
    void drop(Frames::iterator entry);

    std::size_t bound_;
    std::size_t bytes_ = 0;
    std::int64_t wanted_ = 0;
    bool isMovingBack_ = false;
    Frames frames_;
};

} // namespace glintro
