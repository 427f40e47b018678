// The plane kernels on one core, in milliseconds a call. GLINTRO_BENCH_TARGETS limits the vector
// instructions, for example to "AVX2".

#include <cstdlib>
#include <random>
#include <string_view>

#include <benchmark/benchmark.h>
#include <hwy/highway.h>

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
// the window's origin moves in each frame, so that filters have to be built anew.
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

void limitTargets() {
    const char* const wanted = std::getenv("GLINTRO_BENCH_TARGETS");
    if (wanted == nullptr) return;
    for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        if (std::string_view(hwy::TargetName(target)) == wanted) hwy::SetSupportedTargetsForTest(target);
    }
}

} // namespace
} // namespace glintro

int main(int argc, char** argv) {
    glintro::limitTargets();
    benchmark::Initialize(&argc, argv);
    benchmark::SetDefaultTimeUnit(benchmark::kMillisecond);
    benchmark::RunSpecifiedBenchmarks();
}
