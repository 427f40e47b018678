// What an editor asks of a movie: steps, scrubbing and fast playback, by the clock on the wall, as a person
// waits for them. The recording has a key frame every two seconds.

#include <algorithm>
#include <random>
#include <utility>

#include <benchmark/benchmark.h>

#include "bench/core/media/Recording.h"
#include "core/media/decode/MovieReader.h"
#include "core/raster/Convert.h"
#include "core/render/FrameRenderer.h"

namespace glintro {
namespace {

using bench::kFps;
using bench::kSeconds;
using bench::Recording;

constexpr std::size_t kCache = std::size_t{384} << 20;

std::unique_ptr<MovieReader> openForEditing(int threads = 0) {
    return MovieReader::open(Recording::file(), {.threads = threads, .cacheBytes = kCache}).value();
}

// From the end to the beginning frame by frame: the average holds the decoding of every group of pictures.
void stepBack(benchmark::State& state) {
    auto reader = openForEditing();
    constexpr int kFrames = kFps * kSeconds;
    int frame = kFrames;
    for (auto _ : state) {
        frame = frame > 0 ? frame - 1 : kFrames - 1;
        benchmark::DoNotOptimize(reader->frameAt((frame + 0.5) / kFps));
    }
}

// Two steps back, one forward: nothing is decoded twice.
void stepToAndFro(benchmark::State& state) {
    auto reader = openForEditing();
    int frame = kFps * kSeconds;
    bool isForward = false;
    for (auto _ : state) {
        frame = frame > 1 ? frame + (isForward ? 1 : -2) : kFps * kSeconds - 1;
        isForward = !isForward;
        benchmark::DoNotOptimize(reader->frameAt((frame + 0.5) / kFps));
    }
}

// A person drags the playhead: to and fro with jumps now and then. The argument is the FrameTolerance.
void scrub(benchmark::State& state) {
    auto reader = openForEditing();
    std::mt19937 random(4);
    std::uniform_real_distribution<double> jump(0, kSeconds);
    std::uniform_real_distribution<double> drag(-0.6, 0.6);
    double time = 5;
    int request = 0;
    for (auto _ : state) {
        time = request++ % 8 == 0 ? jump(random) : std::clamp(time + drag(random), 0.0, kSeconds - 0.1);
        benchmark::DoNotOptimize(
            reader->frame({.time = time, .tolerance = static_cast<FrameTolerance>(state.range(0))}));
    }
}

// Thumbnails all over the recording, 480 pixels wide, each by the key frame nearest to it.
void thumbnail(benchmark::State& state) {
    auto reader = MovieReader::open(Recording::file(), MovieReader::Access::single).value();
    double time = 0;
    for (auto _ : state) {
        time = time > kSeconds - 2 ? 0.9 : time + 2;
        benchmark::DoNotOptimize(
            reader->frame({.time = time, .tolerance = FrameTolerance::keyFrame, .maxSide = 480}));
    }
}

// Eight times as fast, 24 pictures a second, decoded and drawn: at most 41 ms on the clock.
void playAtEightTimes(benchmark::State& state) {
    auto reader = openForEditing(static_cast<int>(state.range(0)));
    constexpr PixelSize kView{1280, 720};
    const FrameRenderer renderer({}, {2560, 1600}, {}, nullptr, Framing::fit);
    PictureBuffer canvas(PixelLayout::rgb444, kView);
    DrawScratch scratch;
    double time = 0;
    for (auto _ : state) {
        time = time + 8.0 / 24 < kSeconds ? time + 8.0 / 24 : 0;
        const auto frame = reader->frameAt(time).value();
        renderer.draw(renderer.plan(time, kView), frame.picture.get(), nullptr, canvas, scratch);
        benchmark::DoNotOptimize(toBgra(std::as_const(canvas).view()));
    }
}

BENCHMARK(stepBack)->Iterations(kFps* kSeconds)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK(stepToAndFro)->Iterations(kFps* kSeconds)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK(scrub)
    ->ArgName("tolerance")
    ->Arg(static_cast<int>(FrameTolerance::keyFrame))
    ->Arg(static_cast<int>(FrameTolerance::nearby))
    ->Arg(static_cast<int>(FrameTolerance::exact))
    ->Iterations(100)
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(playAtEightTimes)
    ->ArgName("threads")
    ->Arg(2)
    ->Arg(3)
    ->Iterations(100)
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(thumbnail)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);

} // namespace
} // namespace glintro
