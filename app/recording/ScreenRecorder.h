#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/recording/ChangedRows.h"
#include "app/recording/ScreenTrack.h"
#include "app/recording/SerialQueue.h"
#include "platform/ScreenStream.h"

namespace glintro {

// A stream's pictures on their way to the screen's video track. A picture that finds no room is dropped and
// counted, and the next one shows what it changed. Pictures may come before there is a track: the first ones
// are held, the newest in place of those that the stream needs the room of.
class ScreenRecorder {
  public:
    using FailureHandler = std::function<void(const Failure&)>;

    // From any thread.
    struct Counts {
        std::atomic<std::int64_t> seen = 0; // of the stream, those in pauses too
        std::atomic<std::int64_t> due = 0;  // outside pauses, since there is a track
        std::atomic<std::int64_t> accepted = 0;
        std::atomic<std::int64_t> dropped = 0; // of those due, and of those the stream had no buffer for
    };

    // `failed` is called at most once for the stream and once for the track, on threads of theirs. The queue
    // outlives this.
    ScreenRecorder(std::unique_ptr<ScreenStream> stream, SerialQueue& queue, FailureHandler failed);

    // From here on `arrived` is called on the queue for each picture, and gives it to record() or skip().
    [[nodiscard]] Result<void> start(int fps, std::function<void(ScreenFrame)> arrived);
    // No picture comes any more when this returns. Not on the queue.
    void stop() { stream_->stop(); }

    // On the queue. The writer outlives this.
    void openTrack(LiveMovieWriter& writer, const LiveVideoSettings& video);
    void record(ScreenFrame frame, Seconds recordedTime);
    void skip(ScreenFrame frame);

    // Encodes what waits. After stop().
    void close();

    const Counts& counts() const { return counts_; }
    std::int64_t writtenFrames() const { return hasTrack_ ? track_->video().writtenFrames() : 0; }
    std::string encoderName() const { return hasTrack_ ? track_->video().encoderName() : std::string(); }

  private:
    struct HeldFrame {
        ScreenFrame frame;
        Seconds recordedTime = 0;
    };
    void see(ScreenFrame frame);
    void hold(ScreenFrame frame, Seconds recordedTime);

    SerialQueue& queue_;
    const FailureHandler failed_;
    std::function<void(ScreenFrame)> arrived_;
    Counts counts_;
    ChangedRows entrance_; // of the stream's thread

    std::vector<HeldFrame> held_;        // of the queue, until there is a track
    ChangedRows replaced_;               // of the queue: rows of held frames that were replaced or skipped
    std::unique_ptr<ScreenTrack> track_; // of the queue until hasTrack_, constant from then on
    std::atomic<bool> hasTrack_ = false;
    std::unique_ptr<ScreenStream> stream_; // last: its thread uses all of the above
};

} // namespace glintro
