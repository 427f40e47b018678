#include "core/render/Still.h"

#include <utility>

namespace glintro {

Result<SourceFrame> Still::frame(const Project& project, const StillRequest& request) {
    auto source = StillSource::open(project);
    if (!source) return std::unexpected(source.error());
    return (*source)->grab(request);
}

BgraImage Still::render(const SourceFrame& frame, const RecordingEvents& events,
                        const ProjectSettings& settings, int longSide,
                        std::shared_ptr<const BgraImage> wallpaper, Framing framing) {
    const Size source{static_cast<double>(frame.screen->size.width),
                      static_cast<double>(frame.screen->size.height)};
    const FrameRenderer renderer(settings, source, events, std::move(wallpaper), framing);
    const PixelSize canvas = outputSize(settings.aspect, source, LongSide{static_cast<double>(longSide)});
    const Picture* webcam = settings.showCamera ? frame.webcam.get() : nullptr;
    return renderer.render(frame.screen.get(), webcam, frame.time, canvas);
}

Result<BgraImage> Still::render(const Project& project, Seconds at, int longSide,
                                const std::optional<ProjectSettings>& settings, Framing framing,
                                std::shared_ptr<const BgraImage> wallpaper) {
    auto source = StillSource::open(project);
    if (!source) return std::unexpected(source.error());
    const ProjectSettings& used = settings ? *settings : project.info.settings;
    const CameraUse camera = used.showCamera ? CameraUse::with : CameraUse::without;
    return (*source)->still({.at = at, .camera = camera}, used, longSide, std::move(wallpaper), framing);
}

} // namespace glintro
