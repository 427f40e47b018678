#pragma once

#include <cstdint>
#include <limits>
#include <stop_token>
#include <vector>

#include "core/media/decode/MovieFile.h"

namespace glintro {

// The video frames of a movie file in the order they are shown. One thread at a time.
class VideoDecoder {
  public:
    static constexpr std::int64_t kSkipNothing = std::numeric_limits<std::int64_t>::min();

    // `threads` 0: one for every core. More threads decode further ahead and hold more frames.
    [[nodiscard]] static Result<VideoDecoder> create(const AVStream& stream, int threads);

    // The next frame, null at the end. What can't be decoded is left out. Cancelled between two packets when
    // `stop` is requested; the next call then goes on where this one stopped.
    [[nodiscard]] Result<FramePtr> next(MovieFile& file, const std::stop_token& stop);
    // Decodes only the next key frame; null where there is none. Call restart() before the next call of any
    // kind.
    [[nodiscard]] Result<FramePtr> nextKeyFrame(MovieFile& file, const std::stop_token& stop);

    // Call after every seek: frames decoded so far are discarded.
    void restart();
    // From now on unreferenced frames that start before `time` (stream units) may be left out.
    void skipBefore(std::int64_t time) { skipBefore_ = time; }
    // Whether a frame that starts after `first` and before `end` was left out since the last restart.
    bool hasLeftOut(std::int64_t first, std::int64_t end) const;

  private:
    explicit VideoDecoder(CodecPtr context) : context_(std::move(context)), packet_(newPacket()) {}
    [[nodiscard]] Result<void> feed(MovieFile& file);
    [[nodiscard]] Result<bool> readKeyPacket(MovieFile& file, const std::stop_token& stop);

    CodecPtr context_;
    PacketPtr packet_;
    std::int64_t skipBefore_ = kSkipNothing;
    std::vector<std::int64_t> early_; // frames that may be left out, until they come out of the decoder
};

} // namespace glintro
