#include "core/render/Still.h"

#include <algorithm>
#include <functional>
#include <future>

#include "core/media/decode/MovieReader.h"

namespace glintro {
namespace {

// The last frame of a recording may start a little before its end.
constexpr Seconds kEndMargin = 0.02;

PicturePtr cameraFrame(const Project& project, Seconds sourceTime) {
    auto movie = MovieReader::open(project.cameraURL(), MovieReader::Access::single);
    const Seconds cameraTime = sourceTime - project.info.cameraOffset;
    if (!movie || cameraTime < 0 || cameraTime >= (*movie)->properties().duration) return nullptr;
    auto frame = (*movie)->frameAt(cameraTime);
    return frame ? frame->picture : nullptr;
}

} // namespace

Result<SourceFrame> Still::frame(const Project& project, Seconds at, CameraUse camera) {
    const Seconds time = std::min(std::max(at, 0.0), std::max(project.info.duration - kEndMargin, 0.0));
    // Both movies decode at the same time: somebody waits for this frame.
    std::future<PicturePtr> presenter;
    if (camera == CameraUse::with && project.cameraAvailable())
        presenter = std::async(std::launch::async, cameraFrame, std::cref(project), time);
    auto movie = MovieReader::open(project.rawURL(), MovieReader::Access::single);
    if (!movie) return std::unexpected(movie.error());
    auto screen = (*movie)->frameAt(time);
    if (!screen) return std::unexpected(screen.error());
    return SourceFrame{screen->picture, presenter.valid() ? presenter.get() : nullptr, time};
}

BgraImage Still::render(const SourceFrame& frame, const RecordingEvents& events,
                        const ProjectSettings& settings, int longSide,
                        std::shared_ptr<const BgraImage> wallpaper, Framing framing) {
    const Size source{static_cast<double>(frame.screen->size.width),
                      static_cast<double>(frame.screen->size.height)};
    const FrameRenderer renderer(settings, source, events, std::move(wallpaper), framing);
    const PixelSize canvas = outputSize(settings.aspect, source, LongSide{static_cast<double>(longSide)});
    const Picture* camera = settings.showCamera ? frame.camera.get() : nullptr;
    return renderer.render(frame.screen.get(), camera, frame.time, canvas);
}

Result<BgraImage> Still::render(const Project& project, Seconds at, int longSide,
                                const std::optional<ProjectSettings>& settings, Framing framing,
                                std::shared_ptr<const BgraImage> wallpaper) {
    const ProjectSettings& used = settings ? *settings : project.info.settings;
    auto events = std::async(std::launch::async, &Project::loadEvents, &project);
    auto source = frame(project, at, used.showCamera ? CameraUse::with : CameraUse::without);
    if (!source) return std::unexpected(source.error());
    return render(*source, events.get(), used, longSide, std::move(wallpaper), framing);
}

} // namespace glintro
