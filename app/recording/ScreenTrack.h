#pragma once

#include "app/recording/ChangedRows.h"
#include "app/recording/ScreenPicture.h"
#include "app/recording/VideoTrack.h"

namespace glintro {

// The screen's pictures on their way into the movie. offer() and leaveOut() come from one thread at a time.
class ScreenTrack {
  public:
    // See VideoTrack. `size` is the movie's.
    ScreenTrack(LiveMovieWriter& writer, PixelSize size, int fps, VideoTrack::FailureHandler failed,
                std::size_t mailbox = VideoTrack::kMailbox)
        : picture_(size), video_(writer, fps, std::move(failed), mailbox) {}

    // False when the frame had to be left out.
    [[nodiscard]] bool offer(ScreenFrame frame, Seconds time);
    // A frame that is not to be recorded: the next one shows what it changed.
    void leaveOut(ScreenFrame frame);

    VideoTrack& video() { return video_; }
    const VideoTrack& video() const { return video_; }

  private:
    ChangedRows rows_;
    ScreenPicture picture_; // of the track's thread
    VideoTrack video_;      // last: its thread uses the picture
};

} // namespace glintro
