// Feeds every GIF encoder the same frames.
//
//   gif_frames draw REEL FRAMES LONG_SIDE FPS [SECONDS]   draws a reel, or its first seconds, as raw R, G, B
//                                                         bytes and prints WIDTHxHEIGHT
//   gif_frames write FRAMES WIDTHxHEIGHT FPS GIF          makes a GIF of such frames
//   gif_frames export REEL GIF LONG_SIDE FPS              does both at once, as the program does
//
// Raw frames follow each other without headers, three bytes a pixel, rows top to bottom.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/export/ExportOptions.h"
#include "core/export/Exporter.h"
#include "core/export/FramePipeline.h"
#include "core/export/GifStream.h"

namespace glintro {
namespace {

std::vector<char> interleaved(const Picture& picture) {
    std::vector<char> bytes;
    bytes.reserve(static_cast<std::size_t>(picture.size.width) * picture.size.height * 3);
    for (int y = 0; y < picture.size.height; ++y)
        for (int x = 0; x < picture.size.width; ++x)
            for (const PlaneView& plane : picture.planes) bytes.push_back(static_cast<char>(plane.row(y)[x]));
    return bytes;
}

Result<void> drawFrames(const Project& project, const std::string& file, ExportOptions options, int seconds) {
    const ProjectSettings settings = project.info.settings;
    auto reel = ReelComposition::build(project, settings);
    if (!reel) return std::unexpected(reel.error());
    const FrameRenderer renderer(settings, reel->sourceSize, project.loadEvents(), nullptr, Framing::fit);
    const PixelSize canvas = options.outputSize(settings, reel->sourceSize);
    const auto total = std::min<std::int64_t>(frameCount(reel->map.compDuration(), options.gifFPS),
                                              std::int64_t{seconds} * options.gifFPS);
    std::ofstream out(file, std::ios::binary);
    const FrameJob job{*reel, renderer, PixelLayout::rgb444, canvas, options.gifFPS, total, 2};
    auto drawn = pumpFrames(job, {}, [&](const Picture& picture, std::int64_t, FrameChange) -> Result<void> {
        const auto bytes = interleaved(picture);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return {};
    });
    if (drawn && !out.flush()) return failure("The frames can’t be written.");
    if (drawn) std::printf("%dx%d\n", canvas.width, canvas.height);
    return drawn;
}

// The next frame of a file of raw frames, in planes; false at its end.
bool readFrame(std::ifstream& in, std::vector<char>& row, PictureBuffer& picture) {
    const auto width = static_cast<std::size_t>(picture.size().width);
    row.resize(width * 3);
    for (int y = 0; y < picture.size().height; ++y) {
        if (!in.read(row.data(), static_cast<std::streamsize>(row.size()))) return false;
        std::uint8_t* const planes[] = {picture.plane(0).row(y), picture.plane(1).row(y),
                                        picture.plane(2).row(y)};
        for (std::size_t x = 0; x < width; ++x)
            for (std::size_t i = 0; i < 3; ++i) planes[i][x] = static_cast<std::uint8_t>(row[3 * x + i]);
    }
    return true;
}

Result<void> writeFrames(const std::string& frames, PixelSize canvas, int fps, const std::string& file) {
    std::ifstream in(frames, std::ios::binary);
    auto gif = GifStream::create(file, canvas, fps);
    if (!gif) return std::unexpected(gif.error());
    std::vector<char> row;
    std::int64_t count = 0;
    for (;; ++count) {
        auto buffer = std::make_shared<PictureBuffer>(PixelLayout::rgb444, canvas);
        if (!readFrame(in, row, *buffer)) break;
        Picture picture = std::as_const(*buffer).view();
        picture.storage = std::move(buffer);
        if (auto added = (*gif)->add(picture, FrameChange::drawn); !added) return added;
    }
    return (*gif)->finish(count);
}

Result<void> exportReel(const Project& project, const std::string& file, const ExportOptions& options) {
    const auto done = Exporter::run(
        {.project = project, .settings = project.info.settings, .options = options, .to = file});
    if (!done) return std::unexpected(done.error());
    return {};
}

int run(std::span<char*> arguments) {
    Result<void> done = failure("Wrong arguments.");
    const std::string_view verb = arguments.size() > 1 ? arguments[1] : "";
    PixelSize canvas;
    if (arguments.size() == 6 && verb == "write"
        && std::sscanf(arguments[3], "%dx%d", &canvas.width, &canvas.height) == 2)
        done = writeFrames(arguments[2], canvas, std::atoi(arguments[4]), arguments[5]);
    if (arguments.size() >= 6 && (verb == "draw" || verb == "export")) {
        const auto project = Project::load(arguments[2]);
        const ExportOptions options{.format = ExportFormat::gif,
                                    .gifWidth = std::atoi(arguments[4]),
                                    .gifFPS = std::atoi(arguments[5])};
        const int seconds = arguments.size() > 6 ? std::atoi(arguments[6]) : 3600;
        if (!project) done = failure("This is not a reel.");
        if (project && verb == "draw") done = drawFrames(*project, arguments[3], options, seconds);
        if (project && verb == "export") done = exportReel(*project, arguments[3], options);
    }
    if (!done) std::fprintf(stderr, "gif_frames: %s\n", done.error().message.c_str());
    return done ? 0 : 1;
}

} // namespace
} // namespace glintro

int main(int count, char** arguments) {
    return glintro::run({arguments, static_cast<std::size_t>(count)});
}
