#include "app/player/ReelPictureSource.h"

#include <algorithm>
#include <utility>

namespace glintro {
namespace {

// About a second of a recording of 2560 × 1600, and a few of a camera's.
constexpr std::size_t kScreenCache = std::size_t{384} << 20;
constexpr std::size_t kCameraCache = std::size_t{48} << 20;
constexpr int kDecodingThreads = 2;

// Opened by the header alone, as somebody waits for the first picture.
MovieReader::Options options(int threads, std::size_t cacheBytes) {
    return {.access = MovieReader::Access::single, .threads = threads, .cacheBytes = cacheBytes};
}

} // namespace

Result<std::unique_ptr<PictureSource>> ReelPictureSource::open(const Project& project) {
    auto screen = MovieReader::open(project.rawURL(), options(kDecodingThreads, kScreenCache));
    if (!screen) return std::unexpected(screen.error());
    return std::unique_ptr<PictureSource>(new ReelPictureSource(project, *std::move(screen)));
}

ReelPictureSource::ReelPictureSource(const Project& project, std::unique_ptr<MovieReader> screen)
    : duration_(std::min(project.info.duration, screen->properties().duration)),
      cameraOffset_(project.info.cameraOffset),
      screen_(std::move(screen)) {
    if (!project.cameraAvailable()) return;
    auto camera = MovieReader::open(project.cameraURL(), options(1, kCameraCache));
    if (camera) camera_ = *std::move(camera);
}

PictureSource::Properties ReelPictureSource::properties() const {
    const MovieProperties& movie = screen_->properties();
    return {movie.naturalSize, duration_, movie.hasAudio};
}

Result<SourcePictures> ReelPictureSource::at(const SourceRequest& request) {
    auto screen =
        screen_->frame({.time = request.sourceTime, .tolerance = request.tolerance, .stop = request.stop});
    if (!screen) return std::unexpected(screen.error());
    SourcePictures pictures{screen->picture, nullptr};
    if (request.needsCamera) pictures.camera = cameraAt(request);
    return pictures;
}

// The frame of the same moment; null outside the camera movie.
PicturePtr ReelPictureSource::cameraAt(const SourceRequest& request) {
    if (!camera_) return nullptr;
    const Seconds time = request.sourceTime - cameraOffset_;
    if (time < 0 || time >= camera_->properties().duration) return nullptr;
    auto frame = camera_->frame({.time = time, .tolerance = request.tolerance, .stop = request.stop});
    if (frame) return frame->picture;
    if (!frame.error().isCancelled()) camera_ = nullptr;
    return nullptr;
}

} // namespace glintro
