// Drawing alone, on one core: decoded frames in memory, the planar road, 2560 x 1600 to 1080p.

#include <benchmark/benchmark.h>

#include "bench/core/render/Scenes.h"
#include "core/render/FrameRenderer.h"

namespace glintro {
namespace {

constexpr PixelSize kCanvas{1920, 1080};

void draw(benchmark::State& state, const ProjectSettings& settings, Framing framing, PixelSize canvas) {
    const PicturePtr screen = page({2560, 1600});
    const PicturePtr webcam = page({1280, 720});
    const FrameRenderer renderer(settings, {2560, 1600}, movingPointer(), nullptr, framing);
    PictureBuffer frame(PixelLayout::yuv420, canvas);
    DrawScratch scratch;
    renderer.draw(renderer.plan(0, canvas), screen.get(), webcam.get(), frame, scratch);
    double t = 5;
    for (auto _ : state) {
        renderer.draw(renderer.plan(t, canvas), screen.get(), webcam.get(), frame, scratch);
        t = t < 50 ? t + 1.0 / 60 : 5;
    }
}

void drawZoomedShot(benchmark::State& state) {
    ProjectSettings settings;
    settings.zooms = {{.start = 1, .end = 59, .scale = 2}};
    draw(state, settings, Framing::fit, kCanvas);
}
BENCHMARK(drawZoomedShot)->Unit(benchmark::kMillisecond);

void drawWideShot(benchmark::State& state) {
    draw(state, {}, Framing::fit, kCanvas);
}
BENCHMARK(drawWideShot)->Unit(benchmark::kMillisecond);

void drawVerticalFill(benchmark::State& state) {
    ProjectSettings settings;
    settings.zooms = {{.start = 1, .end = 59, .scale = 2}};
    draw(state, settings, Framing::fill, {1080, 1920});
}
BENCHMARK(drawVerticalFill)->Unit(benchmark::kMillisecond);

void planOnly(benchmark::State& state) {
    ProjectSettings settings;
    for (int i = 0; i < 2000; ++i)
        settings.zooms.push_back({.start = i * 0.5, .end = i * 0.5 + 0.4, .scale = 2});
    const FrameRenderer renderer(settings, {2560, 1600}, movingPointer(), nullptr, Framing::fit);
    double t = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(renderer.plan(t, kCanvas));
        t = t < 50 ? t + 1.0 / 60 : 0;
    }
}
BENCHMARK(planOnly)->Unit(benchmark::kMicrosecond);

void firstFrame(benchmark::State& state) {
    const PicturePtr screen = page({2560, 1600});
    for (auto _ : state) {
        const FrameRenderer renderer({}, {2560, 1600}, {}, nullptr, Framing::fit);
        benchmark::DoNotOptimize(renderer.render(screen.get(), nullptr, 0, kCanvas));
    }
}
BENCHMARK(firstFrame)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace glintro
