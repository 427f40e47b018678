#pragma once

#include <cstdint>
#include <memory>
#include <stop_token>

#include "core/media/decode/FrameCache.h"
#include "core/media/decode/MovieReader.h"
#include "core/media/decode/VideoDecoder.h"

namespace glintro {

// Finds the decoded frame of a time: in the cache, by decoding on from the last frame, or by seeking to the
// key frame before. All times are in units of the video stream, on its own clock. One thread at a time.
class FrameFinder {
  public:
    FrameFinder(std::unique_ptr<MovieFile> file, VideoDecoder decoder, std::size_t cacheBytes)
        : file_(std::move(file)), decoder_(std::move(decoder)), cache_(cacheBytes) {}

    // Null where no frame can be decoded. A cancelled call does not affect the results of later ones.
    [[nodiscard]] Result<DecodedFramePtr> find(std::int64_t wanted, FrameTolerance tolerance,
                                               const std::stop_token& stop);

    const MovieFile& file() const { return *file_; }
    FrameCache& cache() { return cache_; }

  private:
    AVRational unit() const { return file_->video().time_base; }
    std::int64_t units(Seconds time) const;
    Seconds seconds(std::int64_t length) const { return toSeconds(length, unit()); }

    DecodedFramePtr known(std::int64_t wanted) const;
    DecodedFramePtr knownNear(std::int64_t wanted, std::int64_t tolerance) const;
    [[nodiscard]] Result<DecodedFramePtr> findExactly(std::int64_t wanted, const std::stop_token& stop);
    [[nodiscard]] Result<DecodedFramePtr> findNearby(std::int64_t wanted, const std::stop_token& stop);
    [[nodiscard]] Result<DecodedFramePtr> findKeyFrame(std::int64_t wanted, std::int64_t tolerance,
                                                       const std::stop_token& stop);

    std::int64_t reorderingDelay() const;
    const AVIndexEntry* keyFrameNear(std::int64_t wanted) const;
    bool needsSeek(std::int64_t wanted) const;
    std::int64_t wholeSpan() const;
    [[nodiscard]] Result<void> seekTo(std::int64_t wanted, std::int64_t skipBefore);
    [[nodiscard]] Result<void> decodeNext(const std::stop_token& stop);
    [[nodiscard]] Result<void> advanceTo(std::int64_t wanted, const std::stop_token& stop);

    std::unique_ptr<MovieFile> file_;
    VideoDecoder decoder_;
    FrameCache cache_;

    DecodedFramePtr current_; // the last frame that the decoder has moved past, or null
    DecodedFramePtr next_;    // the frame after it, which ends it
    bool hasEnded_ = false;   // the decoder has no frame after `next_`
    bool isAtStart_ = true;   // no packet was read yet
};

} // namespace glintro
