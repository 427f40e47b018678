#pragma once

#include <cstdint>

#include "core/media/decode/MovieFile.h"
#include "core/media/decode/MovieReader.h"

namespace glintro {

// The video frames of a movie file in the order they are shown.
class VideoDecoder {
  public:
    static Result<VideoDecoder> create(const AVStream& stream, MovieReader::Access access);

    // The next frame, null at the end. What can't be decoded is left out.
    Result<FramePtr> next(MovieFile& file);
    // After a seek. Frames that nothing refers to and that end before `wantedTime` (stream units) may be left
    // out.
    void restart(std::int64_t wantedTime);

  private:
    explicit VideoDecoder(CodecPtr context) : context_(std::move(context)), packet_(newPacket()) {}
    Result<void> feed(MovieFile& file);

    CodecPtr context_;
    PacketPtr packet_;
    std::int64_t wantedTime_ = 0;
};

} // namespace glintro
