#include "core/export/Exporter.h"

#include <system_error>

#include <fmt/format.h>

#include "core/base/ReplacementFile.h"
#include "core/export/Destination.h"
#include "core/export/GifExport.h"
#include "core/export/MovieExport.h"
#include "core/media/OutputFailure.h"
#include "core/render/ReelComposition.h"

namespace glintro {
namespace {

constexpr int kLargestMovieSide = 8192; // H.264 level 6.2
constexpr int kLargestGifSide = 4096;   // the format allows more, but nothing that shows GIFs keeps up
constexpr auto kNothingLeft = "Nothing is left to export — the whole recording is cut or trimmed away.";

// The same for every way a destination refuses to be written.
std::unexpected<Failure> placeFailure(const ExportRequest& request, const Failure& why) {
    return outputFailure("movie", why.nativeCode,
                         fmt::format("“{}” can’t be written: {}.", request.to.string(),
                                     std::system_category().message(why.nativeCode)));
}

// Makes the file outlast a power cut and puts it in its place, unless the render is cancelled before.
Result<void> place(ReplacementFile& file, const ExportRequest& request) {
    if (request.cancel->isCancelled()) return std::unexpected(Failure::cancelled());
    if (auto synced = file.sync(); !synced) return placeFailure(request, synced.error());
    if (request.cancel->isCancelled()) return std::unexpected(Failure::cancelled());
    if (auto committed = file.commit(); !committed) return placeFailure(request, committed.error());
    return {};
}

ProjectSettings renderedSettings(const ExportRequest& request) {
    ProjectSettings settings = request.settings;
    settings.aspect = request.options.aspect.value_or(settings.aspect);
    return settings;
}

Result<PixelSize> canvasFor(const ExportRequest& request, const ProjectSettings& settings, Size source) {
    const PixelSize canvas = request.options.outputSize(settings, source);
    const int largest = request.options.format == ExportFormat::gif ? kLargestGifSide : kLargestMovieSide;
    if (canvas.width > largest || canvas.height > largest)
        return failure(
            fmt::format("A picture of {} × {} pixels is too large to encode. Choose a smaller size; no side "
                        "may exceed {} pixels.",
                        canvas.width, canvas.height, largest));
    return canvas;
}

} // namespace

Result<ExportOutcome> Exporter::run(const ExportRequest& request) {
    if (auto possible = checkDestination(request.project, request.to); !possible)
        return std::unexpected(possible.error());
    const ProjectSettings settings = renderedSettings(request);
    auto reel = ReelComposition::build(request.project, settings);
    if (!reel) return std::unexpected(reel.error());
    if (reel->map.compDuration() <= 0) return failure(kNothingLeft);
    const auto canvas = canvasFor(request, settings, reel->sourceSize);
    if (!canvas) return std::unexpected(canvas.error());

    const FrameRenderer renderer(settings, reel->sourceSize, request.project.loadEvents(), request.wallpaper,
                                 request.options.fill ? Framing::fill : Framing::fit);
    if (auto made = makeFolderOf(request.to); !made) return std::unexpected(made.error());
    auto file = ReplacementFile::create(request.to);
    if (!file) return placeFailure(request, file.error());
    const auto write = request.options.format == ExportFormat::gif ? writeGif : writeMovie;
    auto outcome = write(*reel, renderer, *canvas, request, file->path());
    if (!outcome) return outcome;
    if (auto placed = place(*file, request); !placed) return std::unexpected(placed.error());
    const auto total = static_cast<int>(frameCount(reel->map.compDuration(), request.options.frameRate()));
    if (request.progress) request.progress({1.0, total, total, *canvas});
    return outcome;
}

} // namespace glintro
