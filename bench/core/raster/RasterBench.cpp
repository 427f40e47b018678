// The plane kernels on one core, in milliseconds a call. GLINTRO_BENCH_TARGET names the only vector
// instructions to use, for example AVX2 or SCALAR.

#include <cstdlib>
#include <random>
#include <string_view>

#include <benchmark/benchmark.h>
#include <hwy/highway.h>

#include "core/raster/Blend.h"
#include "core/raster/Blur.h"
#include "core/raster/Convert.h"
#include "core/raster/Resample.h"

namespace glintro {
namespace {

Plane noise(int width, int height) {
    Plane plane(width, height);
    std::mt19937 random(1);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) plane.row(y)[x] = static_cast<std::uint8_t>(random());
    }
    return plane;
}

struct Scene {
    PixelSize source;
    PixelSize destination;
    int planes;
    double moving;
};

// A window of a 4:2:0 picture into a rectangle: luma alone, or with both chroma planes. `moving` is how far
// the window's origin moves in each frame, so that filters have to be built again.
void resampleScene(benchmark::State& state, Scene scene) {
    const Plane luma = noise(scene.source.width, scene.source.height);
    const Plane chroma = noise(scene.source.width / 2, scene.source.height / 2);
    Plane wide(scene.destination.width, scene.destination.height);
    Plane half(scene.destination.width / 2, scene.destination.height / 2);
    Resampler resampler;
    double origin = 0.25;
    for (auto _ : state) {
        origin += scene.moving;
        for (int i = 0; i < scene.planes; ++i) {
            const PlaneView from = i == 0 ? luma.view() : chroma.view();
            const MutablePlaneView to = i == 0 ? wide.view() : half.view();
            resampler.resample(from, {origin, static_cast<double>(from.width) / to.width},
                               {origin, static_cast<double>(from.height) / to.height}, to);
        }
        benchmark::ClobberMemory();
    }
}

constexpr PixelSize kRecording{2560, 1600};
BENCHMARK_CAPTURE(resampleScene, zoomed_luma_2560x1440_to_1690x950, Scene{{2560, 1440}, {1690, 950}, 1, 0});
BENCHMARK_CAPTURE(resampleScene, zoomed_420_2560x1440_to_1690x950, Scene{{2560, 1440}, {1690, 950}, 3, 0});
BENCHMARK_CAPTURE(resampleScene, moving_420_2560x1440_to_1690x950, Scene{{2560, 1440}, {1690, 950}, 3, 1e-6});
BENCHMARK_CAPTURE(resampleScene, reduced_luma_2560x1600_to_1632x1020, Scene{kRecording, {1632, 1020}, 1, 0});
BENCHMARK_CAPTURE(resampleScene, reduced_420_2560x1600_to_1632x1020, Scene{kRecording, {1632, 1020}, 3, 0});
BENCHMARK_CAPTURE(resampleScene, enlarged_420_1067x667_to_1632x1020, Scene{{1066, 666}, {1632, 1020}, 3, 0});
BENCHMARK_CAPTURE(resampleScene, preview_420_2560x1600_to_640x400, Scene{kRecording, {640, 400}, 3, 0});
BENCHMARK_CAPTURE(resampleScene, thumbnail_420_2560x1600_to_320x200, Scene{kRecording, {320, 200}, 3, 0});

void buildFilters(benchmark::State& state, double step) {
    for (auto _ : state) {
        const FilterBank bank({0.3, step}, 1700, static_cast<int>(1700 * step));
        benchmark::DoNotOptimize(bank.weights(0));
    }
}
BENCHMARK_CAPTURE(buildFilters, enlarging_1700, 0.65);
BENCHMARK_CAPTURE(buildFilters, reducing_1700, 1.57);

constexpr PixelSize kFrame{1920, 1080};

template <class Blend>
void blendFrame(benchmark::State& state, const Blend& blend) {
    Plane destination = noise(kFrame.width, kFrame.height);
    const Plane over = noise(kFrame.width, kFrame.height);
    const Plane mask = noise(kFrame.width, kFrame.height);
    for (auto _ : state) {
        blend(destination.view(), over.view(), mask.view());
        benchmark::ClobberMemory();
    }
}
BENCHMARK_CAPTURE(blendFrame, keepInside_1920x1080, keepInside);
BENCHMARK_CAPTURE(blendFrame, blendMasked_1920x1080, blendMasked);
BENCHMARK_CAPTURE(blendFrame, fillMasked_1920x1080,
                  [](MutablePlaneView to, PlaneView, PlaneView mask) { fillMasked(to, 90, mask, 140); });
BENCHMARK_CAPTURE(blendFrame, blendPremultiplied_1920x1080,
                  [](MutablePlaneView to, PlaneView colour, PlaneView alpha) {
                      blendPremultiplied(to, colour, alpha, 200);
                  });
BENCHMARK_CAPTURE(blendFrame, copyPlane_1920x1080,
                  [](MutablePlaneView to, PlaneView from, PlaneView) { copyPlane(from, to); });
BENCHMARK_CAPTURE(blendFrame, reduceMaskToChroma_1920x1080,
                  [](MutablePlaneView to, PlaneView, PlaneView mask) {
                      reduceMaskToChroma(mask, to.crop({0, 0, kFrame.width / 2, kFrame.height / 2}));
                  });

void yuvToRgbFrame(benchmark::State& state) {
    Plane planes[] = {noise(1920, 1080), noise(1920, 1080), noise(1920, 1080)};
    for (auto _ : state) yuvToRgb(planes[0].view(), planes[1].view(), planes[2].view());
}
BENCHMARK(yuvToRgbFrame)->Name("yuvToRgb_1920x1080");

void toBgraFrame(benchmark::State& state) {
    const PictureBuffer picture(PixelLayout::rgb444, kFrame);
    for (auto _ : state) benchmark::DoNotOptimize(toBgra(picture.view()));
}
BENCHMARK(toBgraFrame)->Name("toBgra_1920x1080");

void bgraToYuvFrame(benchmark::State& state) {
    const Plane pixels = noise(kFrame.width * 4, kFrame.height);
    PictureBuffer picture(PixelLayout::yuv420, kFrame);
    for (auto _ : state) bgraToYuv420(pixels.row(0), pixels.strideBytes(), picture);
}
BENCHMARK(bgraToYuvFrame)->Name("bgraToYuv420_1920x1080");

void ditherFrame(benchmark::State& state) {
    const std::vector<float> samples(static_cast<std::size_t>(kFrame.width), 100.3F);
    Plane plane(kFrame.width, kFrame.height);
    for (auto _ : state) {
        for (int y = 0; y < kFrame.height; ++y) ditherRow(samples.data(), kFrame.width, 0, y, plane.row(y));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(ditherFrame)->Name("ditherRow_1920x1080");

void blurPlane(benchmark::State& state, PixelSize size, double sigma) {
    FloatPlane plane(size.width, size.height);
    for (int y = 0; y < size.height; ++y)
        std::fill_n(plane.row(y), size.width, y < size.height / 2 ? 1.0F : 0.0F);
    for (auto _ : state) gaussianBlur(plane, sigma);
}
BENCHMARK_CAPTURE(blurPlane, sigma_4_1920x1080, kFrame, 4.0);
BENCHMARK_CAPTURE(blurPlane, sigma_7_9_1920x1080, kFrame, 7.9);
BENCHMARK_CAPTURE(blurPlane, sigma_26_1920x1080, kFrame, 26.0);
BENCHMARK_CAPTURE(blurPlane, sigma_80_3840x2160, PixelSize{3840, 2160}, 80.0);

// Settings that must stand before the benchmarks run.
[[maybe_unused]] const bool prepared = [] {
    benchmark::SetDefaultTimeUnit(benchmark::kMillisecond);
    const char* const wanted = std::getenv("GLINTRO_BENCH_TARGET");
    if (wanted == nullptr) return false;
    for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        if (std::string_view(hwy::TargetName(target)) == wanted) hwy::SetSupportedTargetsForTest(target);
    }
    return true;
}();

} // namespace
} // namespace glintro
