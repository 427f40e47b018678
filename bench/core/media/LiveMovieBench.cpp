#include <filesystem>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <unistd.h>

#include "core/media/encode/LiveMovieWriter.h"
#include "core/media/fragments/MovieSealing.h"

namespace glintro {
namespace {

constexpr int kFps = 60;
constexpr int kMinutes = 10;
constexpr PixelSize kSize{64, 48};

std::filesystem::path scratch(const std::string& name) {
    return std::filesystem::temp_directory_path() / ("media_bench-" + std::to_string(::getpid()) + name);
}

// A take of ten minutes with sound whose process died, made once. Its pictures are small: what finishing it
// takes depends on their number only.
class KilledTake {
  public:
    static const std::filesystem::path& file() {
        static const KilledTake take;
        return take.file_;
    }

  private:
    KilledTake() {
        auto writer =
            LiveMovieWriter::create(file_, {kSize, kFps, 500'000}, AudioTrackSettings{48000, 1, 128000})
                .value();
        PictureBuffer picture(PixelLayout::yuv420, kSize);
        const std::vector<float> silence(48000 / kFps);
        for (int i = 0; i < kMinutes * 60 * kFps; ++i) {
            picture.plane(0).row(i % kSize.height)[i % kSize.width] ^= 64;
            writer->writeFrame(picture.view(), static_cast<double>(i) / kFps).value();
            writer->writeAudio(silence).value();
        }
    }
    ~KilledTake() { std::filesystem::remove(file_); }

    std::filesystem::path file_ = scratch("-killed.mov");
};

void finishTenMinutes(benchmark::State& state) {
    const auto copy = scratch("-copy.mov");
    for (auto _ : state) {
        state.PauseTiming();
        std::filesystem::copy_file(KilledTake::file(), copy,
                                   std::filesystem::copy_options::overwrite_existing);
        state.ResumeTiming();
        benchmark::DoNotOptimize(sealMovie(copy).value());
    }
    std::filesystem::remove(copy);
}

BENCHMARK(finishTenMinutes)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
} // namespace glintro
