#include "core/media/decode/FrameCache.h"

#include <iterator>

namespace glintro {

std::size_t DecodedFrame::bytes() const {
    std::size_t total = 0;
    for (const AVBufferRef* buffer : frame->buf) total += buffer != nullptr ? buffer->size : 0;
    const auto converted = [](const Picture& shown) {
        std::size_t sum = 0;
        for (const PlaneView& plane : shown.planes)
            sum += static_cast<std::size_t>(plane.stride * plane.height);
        return sum;
    };
    if (picture && picture->planes[0].data != frame->data[0]) total += converted(*picture);
    if (reduced && reduced != picture) total += converted(*reduced);
    return total;
}

void FrameCache::moveTo(std::int64_t wanted) {
    if (wanted != wanted_) isMovingBack_ = wanted < wanted_;
    wanted_ = wanted;
}

void FrameCache::add(const DecodedFramePtr& frame) {
    if (!isEnabled()) return;
    if (const auto old = frames_.find(frame->time()); old != frames_.end()) drop(old);
    const std::size_t size = frame->bytes();
    frames_.emplace(frame->time(), Entry{frame, size});
    bytes_ += size;
    constexpr std::int64_t kAheadWhenMovingBack = 4;
    while (bytes_ > bound_ && frames_.size() > 1) {
        const std::int64_t behind = wanted_ - frames_.begin()->first;
        const std::int64_t ahead = std::prev(frames_.end())->first - wanted_;
        const bool dropsAhead = ahead * (isMovingBack_ ? kAheadWhenMovingBack : 1) > behind;
        drop(dropsAhead ? std::prev(frames_.end()) : frames_.begin());
    }
}

void FrameCache::measureAgain(const DecodedFramePtr& frame) {
    const auto entry = frames_.find(frame->time());
    if (entry != frames_.end() && entry->second.frame == frame) add(frame);
}

void FrameCache::drop(Frames::iterator entry) {
    bytes_ -= entry->second.bytes;
    frames_.erase(entry);
}

DecodedFramePtr FrameCache::find(std::int64_t time) const {
    const auto after = frames_.upper_bound(time);
    if (after == frames_.begin()) return nullptr;
    const DecodedFramePtr& frame = std::prev(after)->second.frame;
    return frame->isShownAt(time) ? frame : nullptr;
}

DecodedFramePtr FrameCache::nearest(std::int64_t time, std::int64_t tolerance) const {
    const auto after = frames_.lower_bound(time);
    DecodedFramePtr best = after != frames_.end() ? after->second.frame : nullptr;
    if (after != frames_.begin()) {
        const DecodedFramePtr& before = std::prev(after)->second.frame;
        if (!best || before->distance(time) < best->distance(time)) best = before;
    }
    return best && best->distance(time) <= tolerance ? best : nullptr;
}

} // namespace glintro
