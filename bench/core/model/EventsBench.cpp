// Loading the pointer log of a long take, from its file.

#include <cmath>
#include <filesystem>

#include <benchmark/benchmark.h>

#include "core/model/RecordingEvents.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

RecordingEvents hourOfEvents() {
    constexpr int kSamples = 430'000;
    RecordingEvents events;
    events.duration = 3600;
    for (int i = 0; i < kSamples; ++i) {
        const Seconds time = i * events.duration / kSamples;
        events.cursor.push_back(
            {.numbers = {time, 0.5 + 0.4 * std::sin(time), 0.5 + 0.4 * std::cos(0.7 * time)}});
    }
    for (int i = 0; i < 1800; ++i) events.clicks.push_back({.numbers = {2.0 * i, 0.25, 0.75}});
    return events;
}

void loadEventsOfAnHour(benchmark::State& state) {
    const TemporaryFolder folder;
    const auto file = folder / "events.json";
    if (!writeEvents(hourOfEvents(), file)) return state.SkipWithError("cannot write the events");
    for (auto _ : state) benchmark::DoNotOptimize(readEvents(file));
    state.counters["MB"] = static_cast<double>(std::filesystem::file_size(file)) / 1e6;
}
BENCHMARK(loadEventsOfAnHour)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace glintro
