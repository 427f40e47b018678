#include "core/export/GifExport.h"

#include "core/export/FrameReporting.h"
#include "core/export/GifStream.h"

namespace glintro {

Result<ExportOutcome> writeGif(ReelComposition& reel, const FrameRenderer& renderer, PixelSize canvas,
                               const ExportRequest& request, const std::filesystem::path& file) {
    const int fps = request.options.gifFPS;
    const std::int64_t total = frameCount(reel.map.compDuration(), fps);
    auto gif = GifStream::create(file, canvas, fps, [&](const Picture& picture, std::int64_t written) {
        if (!request.cancel->isCancelled()) reportFrame(request, picture, written, total);
    });
    if (!gif) return std::unexpected(gif.error());
    const FrameJob job{
        reel, renderer, PixelLayout::rgb444, canvas, fps, total, drawingThreads(request.workers)};
    const auto add = [&](const Picture& picture, std::int64_t, FrameChange change) {
        return (*gif)->add(picture, change);
    };
    if (auto drawn = pumpFrames(job, *request.cancel, add); !drawn) return std::unexpected(drawn.error());
    if (auto finished = (*gif)->finish(total); !finished) return std::unexpected(finished.error());
    return ExportOutcome{};
}

} // namespace glintro
