#include "app/recording/ScreenRecorder.h"

#include <utility>

namespace glintro {
namespace {

// Of the six buffers of a stream.
constexpr std::size_t kMostHeld = 3;

// Everything but the pixels.
ScreenFrame rowsOf(const ScreenFrame& frame) {
    ScreenFrame rows = frame;
    rows.storage.reset();
    return rows;
}

} // namespace

ScreenRecorder::ScreenRecorder(std::unique_ptr<ScreenStream> stream, SerialQueue& queue,
                               FailureHandler failed)
    : queue_(queue), failed_(std::move(failed)), stream_(std::move(stream)) {}

Result<void> ScreenRecorder::start(int fps, std::function<void(ScreenFrame)> arrived) {
    arrived_ = std::move(arrived);
    return stream_->start({.fps = fps}, {.frame = [this](ScreenFrame frame) { see(std::move(frame)); },
                                         .stopped = failed_,
                                         .dropped =
                                             [this] {
                                                 if (hasTrack_) ++counts_.dropped;
                                             }});
}

void ScreenRecorder::openTrack(LiveMovieWriter& writer, const LiveVideoSettings& video) {
    track_ = std::make_unique<ScreenTrack>(writer, video.size, video.fps, failed_);
    hasTrack_ = true;
    for (HeldFrame& held : std::exchange(held_, {})) record(std::move(held.frame), held.recordedTime);
}

void ScreenRecorder::see(ScreenFrame frame) {
    ++counts_.seen;
    entrance_.addTo(frame);
    const ScreenFrame rows = rowsOf(frame);
    if (queue_.offer([this, moved = std::move(frame)]() mutable { arrived_(std::move(moved)); })) {
        entrance_.clear();
        return;
    }
    entrance_.accumulate(rows);
    ++counts_.dropped;
}

void ScreenRecorder::record(ScreenFrame frame, Seconds recordedTime) {
    replaced_.addTo(frame);
    replaced_.clear();
    if (!track_) return hold(std::move(frame), recordedTime);
    ++counts_.due;
    if (track_->offer(std::move(frame), recordedTime))
        ++counts_.accepted;
    else
        ++counts_.dropped;
}

void ScreenRecorder::hold(ScreenFrame frame, Seconds recordedTime) {
    if (held_.size() == kMostHeld) {
        replaced_.accumulate(rowsOf(held_.back().frame));
        replaced_.addTo(frame);
        replaced_.clear();
        held_.pop_back();
    }
    held_.push_back({std::move(frame), recordedTime});
}

void ScreenRecorder::skip(ScreenFrame frame) {
    replaced_.addTo(frame);
    replaced_.clear();
    if (track_)
        track_->drop(std::move(frame));
    else
        replaced_.accumulate(rowsOf(frame));
}

void ScreenRecorder::close() {
    if (track_) track_->video().close();
}

} // namespace glintro
