#include "core/media/decode/FrameFinder.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace glintro {
namespace {

// No frame within this time before the wanted one is left out: it may be the one on screen. Less when
// decoding on, where a mistake is rarer.
constexpr Seconds kDecodedWhole = 0.5;
constexpr Seconds kDecodedWholeAhead = 0.15;
constexpr Seconds kNearby = 0.1;

} // namespace

std::int64_t FrameFinder::units(Seconds time) const {
    return static_cast<std::int64_t>(std::floor(time / av_q2d(unit())));
}

Result<DecodedFramePtr> FrameFinder::find(std::int64_t wanted, FrameTolerance tolerance,
                                          const std::stop_token& stop) {
    cache_.moveTo(wanted);
    if (auto frame = known(wanted)) return frame;
    Result<DecodedFramePtr> found;
    if (tolerance == FrameTolerance::keyFrame) found = findKeyFrame(wanted, INT64_MAX, stop);
    if (tolerance == FrameTolerance::nearby) found = findNearby(wanted, stop);
    if (!found || *found) return found;
    return findExactly(wanted, stop);
}

DecodedFramePtr FrameFinder::known(std::int64_t wanted) const {
    if (current_ && current_->isShownAt(wanted)) return current_;
    return cache_.find(wanted);
}

DecodedFramePtr FrameFinder::knownNear(std::int64_t wanted, std::int64_t tolerance) const {
    DecodedFramePtr best = cache_.nearest(wanted, tolerance);
    for (const DecodedFramePtr& frame : {current_, next_}) {
        if (!frame || frame->distance(wanted) > tolerance) continue;
        if (!best || frame->distance(wanted) < best->distance(wanted)) best = frame;
    }
    return best;
}

// How much later a key frame is shown than the index says: MOV and MP4 count decoding times there.
std::int64_t FrameFinder::reorderingDelay() const {
    const AVStream& stream = file_->video();
    const AVRational rate = stream.avg_frame_rate;
    if (!file_->countsDecodingTimes() || rate.num <= 0 || rate.den <= 0) return 0;
    return units(stream.codecpar->video_delay / av_q2d(rate));
}

// The key frame nearest to a time by the file's index; null without one.
const AVIndexEntry* FrameFinder::keyFrameNear(std::int64_t wanted) const {
    AVStream& stream = file_->video();
    wanted -= reorderingDelay();
    const AVIndexEntry* best = nullptr;
    for (const int direction : {AVSEEK_FLAG_BACKWARD, 0}) {
        const int index = av_index_search_timestamp(&stream, wanted, direction);
        const AVIndexEntry* entry = index >= 0 ? avformat_index_get_entry(&stream, index) : nullptr;
        if (entry == nullptr) continue;
        const auto distance = [&](const AVIndexEntry& key) { return std::abs(key.timestamp - wanted); };
        if (best == nullptr || distance(*entry) < distance(*best)) best = entry;
    }
    return best;
}

// The nearest key frame, or a frame at hand that is no further away; null when that is beyond the tolerance.
Result<DecodedFramePtr> FrameFinder::findKeyFrame(std::int64_t wanted, std::int64_t tolerance,
                                                  const std::stop_token& stop) {
    const AVIndexEntry* key = keyFrameNear(wanted);
    const std::int64_t time = key != nullptr ? key->timestamp + reorderingDelay() : wanted;
    const std::int64_t distance = std::abs(time - wanted);
    if (distance > tolerance) return nullptr;
    if (key != nullptr) {
        if (auto frame = knownNear(wanted, distance)) return frame;
    }
    if (auto sought = seekTo(time, VideoDecoder::kSkipNothing); !sought)
        return std::unexpected(sought.error());
    // Afterwards the decoder stands at an end: without `current_` and `next_`, what follows begins with a
    // seek.
    auto decoded = decoder_.nextKeyFrame(*file_, stop);
    if (!decoded) return std::unexpected(decoded.error());
    if (!*decoded) return nullptr;
    const std::int64_t shown = (*decoded)->best_effort_timestamp;
    auto frame = std::make_shared<DecodedFrame>(std::move(*decoded), shown + 1);
    cache_.add(frame);
    return frame->distance(wanted) <= tolerance ? frame : nullptr;
}

// The first frame that can be had within the tolerance; null where frames are further apart.
Result<DecodedFramePtr> FrameFinder::findNearby(std::int64_t wanted, const std::stop_token& stop) {
    const std::int64_t tolerance = units(kNearby);
    if (auto frame = knownNear(wanted, tolerance)) return frame;
    if (auto key = findKeyFrame(wanted, tolerance, stop); !key || *key) return key;
    const std::int64_t from = std::max(wanted - tolerance, file_->videoStart());
    if (needsSeek(from)) {
        if (auto sought = seekTo(from, from); !sought) return std::unexpected(sought.error());
    }
    while (!hasEnded_ && (!next_ || next_->time() < from)) {
        if (auto decoded = decodeNext(stop); !decoded) return std::unexpected(decoded.error());
    }
    return next_ && next_->distance(wanted) <= tolerance ? next_ : nullptr;
}

// Going back, or ahead past a later key frame (past two seconds, where the file has no index).
bool FrameFinder::needsSeek(std::int64_t wanted) const {
    const DecodedFramePtr& last = next_ ? next_ : current_;
    if (!last) return !isAtStart_ || wanted - file_->videoStart() > units(1);
    const DecodedFramePtr& first = current_ ? current_ : next_;
    if (wanted < first->time()) return first->time() > file_->videoStart();
    if (hasEnded_ || wanted <= last->time()) return false;
    AVStream& stream = file_->video();
    const int index = av_index_search_timestamp(&stream, wanted, AVSEEK_FLAG_BACKWARD);
    const AVIndexEntry* key = index >= 0 ? avformat_index_get_entry(&stream, index) : nullptr;
    constexpr Seconds kWorthSeeking = 0.5;
    constexpr Seconds kWorthSeekingBlindly = 2;
    if (key != nullptr) return seconds(key->timestamp - last->time()) > kWorthSeeking;
    return seconds(wanted - last->time()) > kWorthSeekingBlindly;
}

// Moves on by one frame. The frame that is now ended is kept, unless one after it was left out.
Result<void> FrameFinder::decodeNext(const std::stop_token& stop) {
    isAtStart_ = false;
    auto decoded = decoder_.next(*file_, stop);
    if (!decoded) return std::unexpected(decoded.error());
    if (next_) current_ = std::move(next_);
    next_ = *decoded ? std::make_shared<DecodedFrame>(std::move(*decoded)) : nullptr;
    hasEnded_ = !next_;
    if (!current_) return {};
    const std::int64_t end = next_ ? next_->time() : DecodedFrame::kLastFrame;
    if (decoder_.hasLeftOut(current_->time(), end)) return {};
    current_->end = end;
    cache_.add(current_);
    return {};
}

// Moves on until `next_` starts after `wanted`.
Result<void> FrameFinder::advanceTo(std::int64_t wanted, const std::stop_token& stop) {
    while (!hasEnded_ && (!next_ || next_->time() <= wanted || !current_)) {
        if (auto decoded = decodeNext(stop); !decoded) return decoded;
    }
    return {};
}

Result<void> FrameFinder::seekTo(std::int64_t wanted, std::int64_t skipBefore) {
    current_ = nullptr;
    next_ = nullptr;
    hasEnded_ = false;
    isAtStart_ = false;
    if (auto sought = file_->seek(file_->video(), wanted); !sought) return sought;
    decoder_.restart();
    decoder_.skipBefore(skipBefore);
    return {};
}

// How long before a wanted frame no frame is left out after a seek. While stepping back these are the next
// frames to be asked for: all are decoded, and the cache keeps as many as it can.
std::int64_t FrameFinder::wholeSpan() const {
    const bool keepsAll = cache_.isEnabled() && cache_.isMovingBack();
    return keepsAll ? INT64_MAX : units(kDecodedWhole);
}

// After this, `current_` is the frame on screen at `wanted`. Unreferenced frames are left out on the way; if
// one of them was the wanted frame, the group of pictures is decoded again in full.
Result<DecodedFramePtr> FrameFinder::findExactly(std::int64_t wanted, const std::stop_token& stop) {
    if (!needsSeek(wanted)) {
        decoder_.skipBefore(wanted - units(kDecodedWholeAhead));
        if (auto advanced = advanceTo(wanted, stop); !advanced) return std::unexpected(advanced.error());
        if (current_ && current_->isShownAt(wanted)) return current_;
    }
    const auto decodeFrom = [&](std::int64_t time, std::int64_t skippedBefore) -> Result<void> {
        if (auto sought = seekTo(time, skippedBefore); !sought) return sought;
        return advanceTo(wanted, stop);
    };
    const std::int64_t span = wholeSpan();
    const std::int64_t skipBefore = span < wanted ? wanted - span : VideoDecoder::kSkipNothing;
    if (auto decoded = decodeFrom(wanted, skipBefore); !decoded) return std::unexpected(decoded.error());
    if (current_ && current_->time() <= wanted && !current_->isShownAt(wanted)) {
        const auto decoded = decodeFrom(wanted, VideoDecoder::kSkipNothing);
        if (!decoded) return std::unexpected(decoded.error());
    }
    // An index counts decoding times, and frames before a key frame may need the one before it: try earlier
    // ones.
    for (std::int64_t back = units(1); !current_ || current_->time() > wanted; back *= 4) {
        const std::int64_t start = std::max(wanted - back, file_->videoStart());
        const auto decoded = decodeFrom(start, VideoDecoder::kSkipNothing);
        if (!decoded) return std::unexpected(decoded.error());
        if (start == file_->videoStart()) break;
    }
    return current_;
}

} // namespace glintro
