#include "core/export/Exporter.h"

#include <system_error>

#include <fmt/format.h>
#include <unistd.h>

#include "core/export/GifExport.h"
#include "core/export/MovieExport.h"
#include "core/render/ReelComposition.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

constexpr int kLargestMovieSide = 8192; // H.264 level 6.2
constexpr int kLargestGifSide = 4096;   // the format allows more, but nothing that shows GIFs keeps up
constexpr auto kNothingLeft = "Nothing is left to export — the whole recording is cut or trimmed away.";

Result<void> prepareDestination(const ExportRequest& request) {
    const fs::path& to = request.to;
    std::error_code error;
    if (request.project.owns(to))
        return failure(fmt::format("“{}” is one of the reel’s own files. Choose another name for the movie.",
                                   to.string()));
    if (fs::is_directory(to, error))
        return failure(fmt::format("“{}” is a folder. Give a file name for the movie.", to.string()));
    error.clear();
    if (to.has_parent_path()) fs::create_directories(to.parent_path(), error);
    if (error)
        return failure(
            fmt::format("The folder “{}” can’t be made: {}.", to.parent_path().string(), error.message()), {},
            error.value());
    return {};
}

// The file being written, beside its destination so that putting it there is one step. Removed unless it was.
class PartialFile {
  public:
    explicit PartialFile(const fs::path& destination)
        : destination_(destination),
          path_(destination.parent_path()
                / fmt::format(".{}.{}.partial{}", destination.stem().string(), getpid(),
                              destination.extension().string())) {}
    ~PartialFile() {
        std::error_code ignored;
        fs::remove(path_, ignored);
    }
    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;

    const fs::path& path() const { return path_; }

    Result<void> moveIntoPlace() {
        std::error_code error;
        fs::rename(path_, destination_, error);
        if (error)
            return failure(fmt::format("“{}” can’t be written: {}.", destination_.string(), error.message()),
                           {}, error.value());
        return {};
    }

  private:
    fs::path destination_;
    fs::path path_;
};

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

Result<void> Exporter::run(const ExportRequest& request) {
    if (auto ready = prepareDestination(request); !ready) return ready;
    const ProjectSettings settings = renderedSettings(request);
    auto reel = ReelComposition::build(request.project, settings);
    if (!reel) return std::unexpected(reel.error());
    if (reel->map.compDuration() <= 0) return failure(kNothingLeft);
    const auto canvas = canvasFor(request, settings, reel->sourceSize);
    if (!canvas) return std::unexpected(canvas.error());

    const FrameRenderer renderer(settings, reel->sourceSize, request.project.loadEvents(), request.wallpaper,
                                 request.options.fill ? Framing::fill : Framing::fit);
    PartialFile partial(request.to);
    const auto write = request.options.format == ExportFormat::gif ? writeGif : writeMovie;
    if (auto written = write(*reel, renderer, *canvas, request, partial.path()); !written) return written;
    if (request.cancel->isCancelled()) return std::unexpected(Failure::cancelled());
    if (auto moved = partial.moveIntoPlace(); !moved) return moved;
    const auto total = static_cast<int>(frameCount(reel->map.compDuration(), request.options.frameRate()));
    if (request.progress) request.progress({1.0, total, total, *canvas});
    return {};
}

} // namespace glintro
