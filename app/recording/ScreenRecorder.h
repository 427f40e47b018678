#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "app/recording/ChangedRows.h"
#include "app/recording/ScreenTrack.h"
#include "app/recording/SerialQueue.h"
#include "platform/ScreenStream.h"

namespace glintro {

// A stream's pictures on their way to the screen's video track. A picture that finds no room is dropped and
// counted, and the next one shows what it changed.
class ScreenRecorder {
  public:
    using FailureHandler = std::function<void(const Failure&)>;

    // From any thread.
    struct Counts {
        std::atomic<std::int64_t> seen = 0; // of the stream, those in pauses too
        std::atomic<std::int64_t> due = 0;  // outside pauses
        std::atomic<std::int64_t> accepted = 0;
        std::atomic<std::int64_t> dropped = 0;
    };

    // `failed` is called at most once for the stream and once for the track, on threads of theirs. Writer and
    // queue outlive this.
    ScreenRecorder(std::unique_ptr<ScreenStream> stream, LiveMovieWriter& writer,
                   const LiveVideoSettings& video, SerialQueue& queue, FailureHandler failed);

    // From here on `arrived` is called on the queue for each picture, and gives it to record() or skip().
    [[nodiscard]] Result<void> start(std::function<void(ScreenFrame)> arrived);
    // No picture comes any more when this returns. Not on the queue.
    void stop() { stream_->stop(); }
    // Encodes what waits. After stop().
    void close() { track_.video().close(); }

    // On the queue.
    void record(ScreenFrame frame, Seconds recordedTime);
    void skip(ScreenFrame frame) { track_.leaveOut(std::move(frame)); }

    const Counts& counts() const { return counts_; }
    const VideoTrack& video() const { return track_.video(); }

  private:
    void see(ScreenFrame frame);

    const int fps_;
    SerialQueue& queue_;
    const FailureHandler failed_;
    std::function<void(ScreenFrame)> arrived_;
    Counts counts_;
    ChangedRows entrance_; // of the stream's thread
    ScreenTrack track_;
    std::unique_ptr<ScreenStream> stream_; // last: its thread uses all of the above
};

} // namespace glintro
