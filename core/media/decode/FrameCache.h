#pragma once

#include <cstddef>
#include <cstdint>
#include <map>

#include "core/media/decode/DecodedFrame.h"

namespace glintro {

// Decoded frames around the time that was asked for last, bounded in bytes: what lies furthest away is
// dropped first, and while times go backwards what lies ahead goes before what lies behind. Times are in
// units of the video stream. A bound of 0 keeps nothing.
class FrameCache {
  public:
    explicit FrameCache(std::size_t bound) : bound_(bound) {}

    // Call once for every request, before `add()`.
    void moveTo(std::int64_t wanted);
    // A frame of the same time is replaced.
    void add(const DecodedFramePtr& frame);
    // Call when a frame was converted: what that takes counts too, when the frame is kept here.
    void measureAgain(const DecodedFramePtr& frame);

    // The frame on screen at a time, or null.
    DecodedFramePtr find(std::int64_t time) const;
    // The frame whose start is nearest to a time, at most `tolerance` away, or null.
    DecodedFramePtr nearest(std::int64_t time, std::int64_t tolerance) const;

    // Frames like this one that the bound has room for.
    std::size_t capacity(const DecodedFrame& frame) const;
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
