#include "app/recording/CameraRecorder.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "app/recording/RecordingFormat.h"

namespace glintro {
namespace {

// A camera that has sent nothing for so long has died, said or not.
constexpr Seconds kLongestHold = 1;

constexpr const char* kLost = "The camera stopped, so the recording goes on without it.";
constexpr const char* kCannotWrite =
    "The camera’s movie can’t be written, so the recording goes on without it.";

// Without a last odd row or column, which a movie cannot have.
Picture evenPicture(const CameraFrame& frame) {
    const PixelSize size = evenSize(frame.size);
    Picture picture{PixelLayout::yuv420, size, {}, frame.storage};
    for (std::size_t i = 0; i < 3; ++i) {
        const PixelSize plane = planeSize(PixelLayout::yuv420, static_cast<int>(i), size);
        picture.planes[i] = {frame.planes[i], frame.strides[i], plane.width, plane.height};
    }
    return picture;
}

} // namespace

CameraRecorder::CameraRecorder(std::filesystem::path file, SerialQueue& queue, const PauseClock& pauses,
                               Handlers handlers)
    : file_(std::move(file)), queue_(queue), pauses_(pauses), handlers_(std::move(handlers)) {}

CameraRecorder::~CameraRecorder() = default;

void CameraRecorder::start(CameraSystem& cameras, std::optional<std::string> device) {
    auto camera = cameras.openCamera(std::move(device));
    if (!camera) return handlers_.notice(camera.error().message);
    camera_ = std::move(*camera);
    const auto started = camera_->start([this](CameraFrame frame) { see(std::move(frame)); },
                                        [this](const Failure&) {
                                            isLost_ = true;
                                            handlers_.notice(kLost);
                                        });
    if (!started) {
        camera_.reset();
        handlers_.notice(started.error().message);
    }
}

void CameraRecorder::stop() {
    if (camera_) camera_->stop();
}

// On the camera's thread, which can wait for an encoder to open; the queue cannot.
void CameraRecorder::see(CameraFrame frame) {
    if (!track_ && !open(frame.size)) return;
    // A camera that outruns the queue loses a picture.
    (void)queue_.offer([this, held = std::move(frame)]() mutable { handle(std::move(held)); });
}

bool CameraRecorder::open(PixelSize size) {
    if (cannotOpen_) return false;
    const LiveVideoSettings settings = cameraVideo(size);
    auto writer = LiveMovieWriter::create(file_, settings, std::nullopt);
    if (!writer) {
        cannotOpen_ = true;
        handlers_.notice(kCannotWrite);
        return false;
    }
    interval_ = 1.0 / settings.fps;
    const std::scoped_lock lock(mutex_);
    writer_ = std::move(*writer);
    track_ = std::make_unique<VideoTrack>(*writer_, settings.fps,
                                          [this](const Failure&) { handlers_.notice(kCannotWrite); });
    return true;
}

void CameraRecorder::handle(CameraFrame frame) {
    const auto time = pauses_.shifted(frame.hostTime);
    if (!time) return;
    if (!firstShiftedTime_) {
        firstShiftedTime_ = time;
        handlers_.started(frame.hostTime);
    }
    lastShiftedTime_ = *time;
    // A picture for which there is no room is left out: the one before it stays.
    (void)track_->offer([held = std::move(frame)] { return evenPicture(held); }, *time - *firstShiftedTime_);
}

// The movie of a camera that has died ends with it, rather than showing its last picture to the take's end.
void CameraRecorder::setEnd(Seconds shiftedTime) {
    if (!firstShiftedTime_) return;
    const bool hasDied = isLost_ || shiftedTime - lastShiftedTime_ > kLongestHold;
    const Seconds end = hasDied ? std::min(lastShiftedTime_ + interval_, shiftedTime) : shiftedTime;
    end_ = end - *firstShiftedTime_;
}

bool CameraRecorder::finish() {
    if (!track_) return false;
    track_->close();
    const bool hasFrames = track_->writtenFrames() > 0;
    if (hasFrames && !writer_->finish(end_)) handlers_.notice(kCannotWrite);
    if (hasFrames) return true;
    std::error_code ignored;
    std::filesystem::remove(file_, ignored);
    return false;
}

std::int64_t CameraRecorder::progress() const {
    const std::scoped_lock lock(mutex_);
    return track_ ? track_->writtenFrames() + writer_->answeredAccesses() : 0;
}

} // namespace glintro
