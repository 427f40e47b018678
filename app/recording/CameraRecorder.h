#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "app/recording/SerialQueue.h"
#include "app/recording/VideoTrack.h"
#include "core/timeline/PauseClock.h"
#include "platform/Camera.h"

namespace glintro {

// Writes a camera's pictures as a movie of their own, which ends early when the camera dies. Whatever goes
// wrong is a notice: the take goes on.
class CameraRecorder {
  public:
    struct Handlers {
        std::function<void(const std::string&)> notice; // one sentence, from any thread
        std::function<void(Seconds)> started;           // host time of the first picture; on the queue
    };

    // Pictures are handled on the queue, which is also the one thread that uses `pauses`; both outlive this.
    CameraRecorder(std::filesystem::path file, SerialQueue& queue, const PauseClock& pauses,
                   Handlers handlers);
    ~CameraRecorder();

    void start(CameraSystem& cameras, std::optional<std::string> device);
    // No picture comes any more when this returns. Not on the queue.
    void stop();
    // On the queue, after stop(): the end of the take, a host time with the pauses cut out. A camera that
    // still works shows its last picture until then.
    void setEnd(Seconds shiftedTime);
    // Finishes the file, or removes one without a picture. Not on the queue. Whether there is a movie.
    bool finish();

    // Grows while pictures are encoded and the file is written. From any thread; never blocks.
    std::int64_t progress() const;

  private:
    void see(CameraFrame frame);
    bool open(PixelSize size);
    void handle(CameraFrame frame);

    const std::filesystem::path file_;
    SerialQueue& queue_;
    const PauseClock& pauses_;
    const Handlers handlers_;

    std::atomic<bool> isLost_ = false;

    // Made on the camera's thread with the first picture, before any is handed to the queue, and kept until
    // the end. Guarded by the mutex for who asks meanwhile.
    Seconds interval_ = 0; // between two pictures
    bool cannotOpen_ = false;
    mutable std::mutex mutex_;
    std::unique_ptr<LiveMovieWriter> writer_;
    std::unique_ptr<VideoTrack> track_;

    // Of the queue. Host times with the pauses cut out.
    std::optional<Seconds> firstShiftedTime_;
    Seconds lastShiftedTime_ = 0;
    Seconds end_ = 0; // after the first picture

    std::unique_ptr<Camera> camera_; // last: its thread uses all of the above
};

} // namespace glintro
