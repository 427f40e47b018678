#include "core/render/StillSource.h"

#include <algorithm>
#include <future>
#include <utility>

#include "core/render/Preview.h"
#include "core/render/Still.h"

namespace glintro {
namespace {

// The last frame of a recording may start a little before its end.
constexpr Seconds kEndMargin = 0.02;

} // namespace

Result<std::unique_ptr<StillSource>> StillSource::open(Project project) {
    auto screen = MovieReader::open(project.rawURL(), MovieReader::Access::single);
    if (!screen) return std::unexpected(screen.error());
    return std::unique_ptr<StillSource>(new StillSource(std::move(project), std::move(*screen)));
}

PicturePtr StillSource::cameraFrame(const StillRequest& request, Seconds sourceTime) {
    if (!std::exchange(hasTriedCamera_, true)) {
        auto movie = MovieReader::open(project_.cameraURL(), MovieReader::Access::single);
        if (movie) camera_ = *std::move(movie);
    }
    const Seconds cameraTime = sourceTime - project_.info.cameraOffset;
    if (!camera_ || cameraTime < 0 || cameraTime >= camera_->properties().duration) return nullptr;
    auto frame = camera_->frame({cameraTime, FrameTolerance::nearby, request.maxSide, request.stop});
    return frame ? frame->picture : nullptr;
}

Result<SourceFrame> StillSource::grab(const StillRequest& request) {
    const Seconds time =
        std::min(std::max(request.at, 0.0), std::max(project_.info.duration - kEndMargin, 0.0));
    // Both movies decode at the same time: somebody waits for this frame.
    std::future<PicturePtr> camera;
    if (request.camera == CameraUse::with && project_.cameraAvailable())
        camera = std::async(std::launch::async, [&] { return cameraFrame(request, time); });
    auto screen = screen_->frame({time, request.tolerance, request.maxSide, request.stop});
    PicturePtr cameraPicture = camera.valid() ? camera.get() : nullptr;
    if (!screen) return std::unexpected(screen.error());
    if (request.stop.stop_requested()) return std::unexpected(Failure::cancelled());
    return SourceFrame{screen->picture, std::move(cameraPicture), time};
}

const RecordingEvents& StillSource::events() {
    if (!events_) events_ = project_.loadEvents();
    return *events_;
}

BgraImage StillSource::draw(const SourceFrame& frame, const ProjectSettings& settings, int longSide,
                            std::shared_ptr<const BgraImage> wallpaper, Framing framing) {
    return Still::render(frame, events(), settings, longSide, std::move(wallpaper), framing);
}

BgraImage plainImage(const Picture& picture) {
    return previewImage(picture, std::max(picture.size.width, picture.size.height));
}

} // namespace glintro
