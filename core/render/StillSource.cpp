#include "core/render/StillSource.h"

#include <algorithm>
#include <future>
#include <utility>

#include "core/render/Preview.h"

namespace glintro {
namespace {

// The last frame of a recording may start a little before its end.
constexpr Seconds kEndMargin = 0.02;

Size exact(PixelSize size) {
    return {static_cast<double>(size.width), static_cast<double>(size.height)};
}

PixelSize canvasOf(const ProjectSettings& settings, PixelSize source, int longSide) {
    return outputSize(settings.aspect, exact(source), LongSide{static_cast<double>(longSide)});
}

} // namespace

Result<std::unique_ptr<StillSource>> StillSource::open(Project project, EventsReader readEvents) {
    auto screen = MovieReader::open(project.rawURL(), MovieReader::Access::single);
    if (!screen) return std::unexpected(screen.error());
    return std::unique_ptr<StillSource>(
        new StillSource(std::move(project), std::move(*screen), std::move(readEvents)));
}

PicturePtr StillSource::webcamFrame(const StillRequest& request, Seconds sourceTime) {
    if (!std::exchange(hasTriedWebcam_, true)) {
        auto movie = MovieReader::open(project_.cameraURL(), MovieReader::Access::single);
        if (movie) webcam_ = *std::move(movie);
    }
    const Seconds webcamTime = sourceTime - project_.info.cameraOffset;
    if (!webcam_ || webcamTime < 0 || webcamTime >= webcam_->properties().duration) return nullptr;
    auto frame = webcam_->frame({webcamTime, FrameTolerance::nearby, request.maxSide, request.stop});
    return frame ? frame->picture : nullptr;
}

Result<SourceFrame> StillSource::grab(const StillRequest& request) {
    const Seconds time =
        std::min(std::max(request.at, 0.0), std::max(project_.info.duration - kEndMargin, 0.0));
    // Both movies decode at the same time: somebody waits for this frame.
    std::future<PicturePtr> webcam;
    if (request.camera == CameraUse::with && project_.cameraAvailable())
        webcam = std::async(std::launch::async, [&] { return webcamFrame(request, time); });
    auto screen = screen_->frame({time, request.tolerance, request.maxSide, request.stop});
    PicturePtr webcamPicture = webcam.valid() ? webcam.get() : nullptr;
    if (!screen) return std::unexpected(screen.error());
    if (request.stop.stop_requested()) return std::unexpected(Failure::cancelled());
    return SourceFrame{screen->picture, std::move(webcamPicture), time};
}

// The last renderer, or one that shares with it what stayed the same.
const FrameRenderer& StillSource::rendererFor(const ProjectSettings& settings, PixelSize source,
                                              std::shared_ptr<const BgraImage> wallpaper, Framing framing) {
    if (!events_) {
        events_ =
            std::make_shared<const RecordingEvents>(readEvents_ ? readEvents_() : project_.loadEvents());
    }
    const bool isSameSource =
        renderer_ && source_ == source && wallpaper_ == wallpaper && framing_ == framing;
    if (!isSameSource) {
        source_ = source;
        wallpaper_ = std::move(wallpaper);
        framing_ = framing;
        const RenderSource rendered{exact(source), events_, wallpaper_};
        renderer_ = std::make_shared<const FrameRenderer>(settings, rendered, framing);
    } else if (renderer_->settings() != settings) {
        renderer_ = renderer_->with(settings);
    }
    return *renderer_;
}

BgraImage StillSource::draw(const SourceFrame& frame, const ProjectSettings& settings, int longSide,
                            std::shared_ptr<const BgraImage> wallpaper, Framing framing) {
    const PixelSize source = frame.screen->size;
    const FrameRenderer& renderer = rendererFor(settings, source, std::move(wallpaper), framing);
    const Picture* webcam = settings.showCamera ? frame.webcam.get() : nullptr;
    return renderer.render(frame.screen.get(), webcam, frame.time, canvasOf(settings, source, longSide));
}

Result<BgraImage> StillSource::still(const StillRequest& request, const ProjectSettings& settings,
                                     int longSide, std::shared_ptr<const BgraImage> wallpaper,
                                     Framing framing) {
    const PixelSize natural = movie().naturalSize;
    const PixelSize source = request.maxSide > 0 ? fittedWithin(natural, request.maxSide) : natural;
    auto prepared = std::async(std::launch::async, [&] {
        const FrameRenderer& renderer = rendererFor(settings, source, wallpaper, framing);
        return renderer.layers(PixelLayout::rgb444, canvasOf(settings, source, longSide));
    });
    const auto frame = grab(request);
    prepared.wait();
    if (!frame) return std::unexpected(frame.error());
    return draw(*frame, settings, longSide, std::move(wallpaper), framing);
}

BgraImage plainImage(const Picture& picture) {
    return previewImage(picture, std::max(picture.size.width, picture.size.height));
}

} // namespace glintro
