#include "app/recording/CameraRecorder.h"

#include <system_error>
#include <utility>

#include "app/recording/RecordingFormat.h"

namespace glintro {
namespace {

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
                                        [this](const Failure&) { handlers_.notice(kLost); });
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
    if (frame.size != size_) return;
    // A camera that outruns the queue loses a picture.
    (void)queue_.offer([this, taken = std::move(frame)]() mutable { handle(std::move(taken)); });
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
    size_ = size;
    writer_ = std::move(*writer);
    track_ = std::make_unique<VideoTrack>(*writer_, settings.fps,
                                          [this](const Failure&) { handlers_.notice(kCannotWrite); });
    return true;
}

void CameraRecorder::handle(CameraFrame frame) {
    const auto time = pauses_.shifted(frame.hostTime);
    if (!time) return;
    if (!firstTime_) {
        firstTime_ = time;
        handlers_.started(frame.hostTime);
    }
    // A picture for which there is no room is left out: the one before it stays.
    (void)track_->offer([taken = std::move(frame)] { return evenPicture(taken); }, *time - *firstTime_);
}

void CameraRecorder::setEnd(Seconds shiftedEnd) {
    end_ = firstTime_ ? shiftedEnd - *firstTime_ : 0;
}

bool CameraRecorder::finish() {
    if (!track_) return false;
    track_->close();
    const bool hasFrames = track_->writtenFrames() > 0;
    if (hasFrames && !writer_->finish(end_)) handlers_.notice(kCannotWrite);
    track_.reset();
    if (hasFrames) return true;
    writer_.reset();
    std::error_code ignored;
    std::filesystem::remove(file_, ignored);
    return false;
}

} // namespace glintro
