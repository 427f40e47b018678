#pragma once

#include <cstddef>
#include <optional>
#include <utility>

#include "app/recording/ChangedRows.h"
#include "app/recording/ScreenPicture.h"
#include "app/recording/VideoTrack.h"

namespace glintro {

// The screen's pictures on their way into the movie. Frames are converted at once, so that the stream gets
// its buffers back, and wait for the encoder as pictures. offer() and drop() come from one thread at a time.
class ScreenTrack {
  public:
    // See VideoTrack. `size` is the movie's.
    ScreenTrack(LiveMovieWriter& writer, PixelSize size, int fps, VideoTrack::FailureHandler failed)
        : ScreenTrack(writer, size, fps, std::move(failed), queueLimit(size, fps)) {}
    ScreenTrack(LiveMovieWriter& writer, PixelSize size, int fps, VideoTrack::FailureHandler failed,
                std::size_t limit)
        : picture_(size), video_(writer, fps, std::move(failed), limit) {}

    // How many pictures may wait: half a second of them, which is longer than a loaded machine keeps a thread
    // waiting, in at most 96 MiB, and never fewer than three. At 60 a second that is 30 pictures (93 MB) of
    // 1920 x 1080 and 8 of 3840 x 2160.
    static std::size_t queueLimit(PixelSize size, int fps);

    // False when the frame had to be dropped.
    [[nodiscard]] bool offer(ScreenFrame frame, Seconds recordedTime);
    // A frame that is not to be recorded: the next one shows what it changed.
    void drop(ScreenFrame frame);

    VideoTrack& video() { return video_; }
    const VideoTrack& video() const { return video_; }

  private:
    std::optional<Picture> converted(const ScreenFrame& frame); // nullopt when there is no memory

    ChangedRows rows_;
    ScreenPicture picture_;
    VideoTrack video_;
};

} // namespace glintro
