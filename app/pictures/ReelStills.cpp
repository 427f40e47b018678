#include "app/pictures/ReelStills.h"

#include "app/base/Images.h"
#include "app/pictures/PictureKeys.h"
#include "core/render/StillSource.h"

namespace glintro {
namespace {

std::shared_ptr<const BgraImage> wallpaperOf(const ProjectSettings& settings, PixelSize source, int longSide,
                                             WallpaperMemo& wallpaper) {
    if (settings.background != BackgroundKind::wallpaper) return nullptr;
    const Size size{static_cast<double>(source.width), static_cast<double>(source.height)};
    return wallpaper.pictureFor(outputSize(settings.aspect, size, LongSide{static_cast<double>(longSide)}));
}

} // namespace

Result<QList<QImage>> drawCard(const Project& project, int longSide, WallpaperMemo& wallpaper,
                               const std::stop_token& stop) {
    auto source = StillSource::open(project);
    if (!source) return std::unexpected(source.error());
    const ProjectSettings& settings = project.info.settings;
    const StillRequest request{.at = cardTime(project.info.duration),
                               .camera = settings.showCamera ? CameraUse::with : CameraUse::without,
                               .stop = stop};
    const auto still = (*source)->still(
        request, settings, longSide,
        wallpaperOf(settings, (*source)->movie().naturalSize, longSide, wallpaper), Framing::fit);
    if (!still) return std::unexpected(still.error());
    return QList<QImage>{toImage(*still)};
}

Result<QList<QImage>> grabScrubFrames(const Project& project, const ScrubShape& shape,
                                      const std::stop_token& stop) {
    auto movie = MovieReader::open(project.rawURL(), MovieReader::Access::single);
    if (!movie) return std::unexpected(movie.error());
    const Seconds spacing = (*movie)->properties().duration / shape.frames;
    QList<QImage> frames;
    for (int i = 0; i < shape.frames; ++i) {
        if (stop.stop_requested()) return std::unexpected(Failure::cancelled());
        const auto frame = (*movie)->frame({.time = (i + 0.5) * spacing,
                                            .tolerance = FrameTolerance::nearby,
                                            .maxSide = shape.width,
                                            .stop = stop});
        if (!frame) return std::unexpected(frame.error());
        frames.append(toImage(plainImage(*frame->picture)));
    }
    return frames;
}

} // namespace glintro
