#include "app/recording/ScreenRecorder.h"

#include <utility>

namespace glintro {

ScreenRecorder::ScreenRecorder(std::unique_ptr<ScreenStream> stream, LiveMovieWriter& writer,
                               const LiveVideoSettings& video, SerialQueue& queue, FailureHandler failed)
    : fps_(video.fps),
      queue_(queue),
      failed_(std::move(failed)),
      track_(writer, video.size, video.fps, failed_),
      stream_(std::move(stream)) {}

Result<void> ScreenRecorder::start(std::function<void(ScreenFrame)> arrived) {
    arrived_ = std::move(arrived);
    return stream_->start({.fps = fps_}, {.frame = [this](ScreenFrame frame) { see(std::move(frame)); },
                                          .stopped = failed_,
                                          .dropped = [this] { ++counts_.dropped; }});
}

void ScreenRecorder::see(ScreenFrame frame) {
    ++counts_.seen;
    entrance_.carry(frame);
    ScreenFrame rows = frame;
    rows.storage.reset();
    if (queue_.offer([this, moved = std::move(frame)]() mutable { arrived_(std::move(moved)); })) {
        entrance_.settle();
        return;
    }
    entrance_.owe(rows);
    ++counts_.dropped;
}

void ScreenRecorder::record(ScreenFrame frame, Seconds recordedTime) {
    ++counts_.due;
    if (track_.offer(std::move(frame), recordedTime))
        ++counts_.accepted;
    else
        ++counts_.dropped;
}

} // namespace glintro
