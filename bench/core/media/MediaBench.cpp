#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <unistd.h>

#include "bench/core/media/Recording.h"
#include "core/media/decode/AudioMix.h"
#include "core/media/decode/MovieReader.h"
#include "core/media/encode/MovieWriter.h"

namespace glintro {
namespace {

using bench::kFps;
using bench::kSeconds;
using bench::page;
using bench::Recording;

// One frame after the other, as an export reads them.
void readInOrder(benchmark::State& state) {
    auto reader = MovieReader::open(Recording::file()).value();
    std::int64_t index = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(reader->frameAt(static_cast<double>(index++ % (kFps * kSeconds)) / kFps));
    }
    state.SetItemsProcessed(state.iterations());
}

// A file opened for one frame, the last before a key frame, as a still does it.
void readOne(benchmark::State& state) {
    const auto& file = Recording::file();
    for (auto _ : state) {
        auto reader = MovieReader::open(file, MovieReader::Access::single).value();
        benchmark::DoNotOptimize(reader->frameAt(5.99));
    }
}

void encode(benchmark::State& state) {
    const auto file =
        std::filesystem::temp_directory_path() / ("media_bench-out-" + std::to_string(::getpid()) + ".mp4");
    constexpr PixelSize kOutput{1920, 1080};
    std::array<PicturePtr, 16> pictures;
    for (std::size_t i = 0; i < pictures.size(); ++i) pictures[i] = page(kOutput, static_cast<int>(4 * i));
    auto writer = MovieWriter::create(file, {kOutput, kFps, 13'685'760}, {}).value();
    std::int64_t index = 0;
    for (auto _ : state) {
        const auto& picture = pictures[static_cast<std::size_t>(index) % pictures.size()];
        benchmark::DoNotOptimize(writer->writeFrame(*picture, index));
        ++index;
    }
    state.SetItemsProcessed(state.iterations());
    writer.reset();
    std::filesystem::remove(file);
}

// A second of finished sound at a rate of state.range(0) / 100.
void mixASecond(benchmark::State& state) {
    const double rate = static_cast<double>(state.range(0)) / 100;
    std::vector<float> second(2 * AudioMix::kSampleRate);
    std::unique_ptr<AudioMix> mix;
    for (auto _ : state) {
        if (!mix || *mix->read(second) < AudioMix::kSampleRate) {
            mix = AudioMix::open(Recording::file(), {{0, kSeconds, rate}}).value();
        }
    }
}

// From a seek, to and fro, to the 40 ms of sound that a player waits for before it goes on.
void seekSound(benchmark::State& state) {
    const double rate = static_cast<double>(state.range(0)) / 100;
    auto mix = AudioMix::open(Recording::file(), {{0, kSeconds, rate}}).value();
    const Seconds duration = static_cast<Seconds>(mix->length()) / AudioMix::kSampleRate;
    std::vector<float> samples(2 * AudioMix::kSampleRate / 25);
    int index = 0;
    for (auto _ : state) {
        mix->seek(duration * (index++ * 37 % 100) / 100);
        benchmark::DoNotOptimize(mix->read(samples).value());
    }
}

BENCHMARK(readInOrder)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK(readOne)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK(encode)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK(mixASecond)->Arg(100)->Arg(150)->Arg(400)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK(seekSound)->Arg(100)->Arg(200)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);

} // namespace
} // namespace glintro
