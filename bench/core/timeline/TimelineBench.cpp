#include <algorithm>
#include <cmath>
#include <random>

#include <benchmark/benchmark.h>

#include "core/timeline/CursorTrack.h"
#include "core/timeline/Storyboard.h"
#include "core/timeline/TimeMap.h"

namespace glintro {
namespace {

enum class Overlap { rare, frequent };

// n zooms, cuts, speed-ups and splits each, at random over a recording that grows with them.
ProjectSettings editsOf(int n, Overlap overlap) {
    std::mt19937 random(1);
    const double length = overlap == Overlap::rare ? 2 : n;
    std::uniform_real_distribution<double> start(0, 4.0 * n);
    std::uniform_real_distribution<double> lasting(0.1, length);
    ProjectSettings settings;
    for (int i = 0; i < n; ++i) {
        const auto range = [&](auto segment) {
            segment.start = start(random);
            segment.end = segment.start + lasting(random);
            return segment;
        };
        settings.zooms.push_back(range(ZoomSegment{.scale = 1.5 + i % 7 * 0.25}));
        settings.speeds.push_back(range(SpeedSegment{.rate = 1.5 + i % 5}));
        // Long cuts would leave nothing to map.
        CutSegment cut;
        cut.start = start(random);
        cut.end = cut.start + 0.5;
        settings.cuts.push_back(cut);
        settings.splits.push_back(start(random));
    }
    return settings;
}

void shotsAndTimeMap(benchmark::State& state, Overlap overlap) {
    const int n = static_cast<int>(state.range(0));
    const ProjectSettings settings = editsOf(n, overlap);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Storyboard::shots(settings, 4.0 * n));
        benchmark::DoNotOptimize(TimeMap(settings, 4.0 * n));
    }
    state.SetComplexityN(n);
}
BENCHMARK_CAPTURE(shotsAndTimeMap, rareOverlaps, Overlap::rare)
    ->Arg(500)
    ->Arg(1000)
    ->Arg(2000)
    ->Arg(4000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oNLogN);
BENCHMARK_CAPTURE(shotsAndTimeMap, frequentOverlaps, Overlap::frequent)
    ->Arg(500)
    ->Arg(1000)
    ->Arg(2000)
    ->Arg(4000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oNLogN);

enum class Pointer { moving, stillAfterAMinute };

std::vector<EventSample> pointerOfAnHour(Pointer pointer) {
    std::vector<EventSample> samples;
    const int count = 430'000;
    for (int i = 0; i < count; ++i) {
        const Seconds time = i * 3600.0 / count;
        const Seconds moving = pointer == Pointer::stillAfterAMinute ? std::min(time, 60.0) : time;
        samples.push_back(
            {.numbers = {time, 0.5 + 0.4 * std::sin(moving), 0.5 + 0.4 * std::cos(moving * 0.7)}});
    }
    return samples;
}

void twoTracksOfAnHour(benchmark::State& state, Pointer pointer) {
    const auto samples = pointerOfAnHour(pointer);
    for (auto _ : state) {
        benchmark::DoNotOptimize(CursorTrack::create(samples, 3600, 20.8));
        benchmark::DoNotOptimize(CursorTrack::create(samples, 3600, 4));
    }
}
BENCHMARK_CAPTURE(twoTracksOfAnHour, moving, Pointer::moving)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(twoTracksOfAnHour, stillAfterAMinute, Pointer::stillAfterAMinute)
    ->Unit(benchmark::kMillisecond);

void pointerPosition(benchmark::State& state) {
    const auto track = CursorTrack::create(pointerOfAnHour(Pointer::moving), 3600, 20.8);
    Seconds time = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(track->position(time));
        time = time < 3599 ? time + 1.0 / 60 : 0;
    }
}
BENCHMARK(pointerPosition);

} // namespace
} // namespace glintro
