// Not a benchmark by itself: bench/stills.sh measures it beside FFmpeg.
//
//   still_frames REEL FILE COUNT LONG_SIDE    grabs COUNT key frames spread evenly over a reel, at most
//   LONG_SIDE
//                                             pixels long, and writes them as raw B, G, R, A bytes
//
// Prints the size of each picture as WIDTHxHEIGHT, once.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <span>

#include "core/render/StillSource.h"

namespace glintro {
namespace {

Result<void> grabFrames(const Project& project, const char* file, int count, int longSide) {
    auto source = StillSource::open(project);
    if (!source) return std::unexpected(source.error());
    std::ofstream out(file, std::ios::binary);
    PixelSize size;
    for (int i = 0; i < count; ++i) {
        const Seconds at = (i + 0.5) / count * project.info.duration;
        const auto frame =
            (*source)->grab({.at = at, .tolerance = FrameTolerance::keyFrame, .maxSide = longSide});
        if (!frame) return std::unexpected(frame.error());
        const BgraImage image = plainImage(*frame->screen);
        out.write(reinterpret_cast<const char*>(image.pixels.data()),
                  static_cast<std::streamsize>(image.pixels.size()));
        size = image.size;
    }
    if (!out.flush()) return failure("The frames can’t be written.");
    std::printf("%dx%d\n", size.width, size.height);
    return {};
}

} // namespace
} // namespace glintro

int main(int argc, char** argv) {
    const std::span words(argv, static_cast<std::size_t>(argc));
    if (words.size() != 5) {
        std::fprintf(stderr, "usage: still_frames REEL FILE COUNT LONG_SIDE\n");
        return 2;
    }
    const auto project = glintro::Project::load(words[1]);
    if (!project) {
        std::fprintf(stderr, "no reel\n");
        return 1;
    }
    const auto grabbed = glintro::grabFrames(*project, words[2], std::atoi(words[3]), std::atoi(words[4]));
    if (grabbed) return 0;
    std::fprintf(stderr, "%s\n", grabbed.error().message.c_str());
    return 1;
}
