// What the windows ask for: a card from the cache and a new one beside the bare still, the frames of a
// hovered card, and the tiles of the Look panel while a slider is dragged. A recording of 2560 x 1600 pixels
// at 60, from the request on the main thread to the signal there.

#include <QCoreApplication>
#include <QEventLoop>
#include <cstdlib>
#include <filesystem>

#include <benchmark/benchmark.h>

#include "app/pictures/LookPreviews.h"
#include "app/pictures/PictureKeys.h"
#include "app/pictures/ReelPictures.h"
#include "app/pictures/ReelStills.h"
#include "core/render/StillSource.h"
#include "sample/SampleReel.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

QCoreApplication& application() {
    static int count = 1;
    static char name[] = "bench";
    static char* arguments[] = {name, nullptr};
    static QCoreApplication application(count, arguments);
    return application;
}

// One for all benchmarks, made at the first use and removed at the end.
class BenchReel {
  public:
    BenchReel() {
        std::string pattern = (fs::temp_directory_path() / "glintro-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) std::abort();
        folder_ = pattern;
        const SampleOptions options{.seconds = 8, .size = {2560, 1600}};
        reel_ = *makeSample(folder_ / "reel", options, {});
    }
    ~BenchReel() {
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }
    const fs::path& folder() const { return folder_; }
    const Project& reel() const { return *reel_; }

    static const BenchReel& shared() {
        static const BenchReel reel;
        return reel;
    }

  private:
    fs::path folder_;
    std::optional<Project> reel_;
};

// Runs the event loop until a signal comes.
template <class Sender, class Signal>
void waitFor(Sender& sender, Signal signal, const std::function<void()>& begin) {
    application();
    QEventLoop loop;
    const auto connection = QObject::connect(&sender, signal, &loop, &QEventLoop::quit);
    begin();
    loop.exec();
    QObject::disconnect(connection);
}

void stillOfReel(benchmark::State& state) {
    const Project& reel = BenchReel::shared().reel();
    for (auto _ : state) {
        auto source = StillSource::open(reel);
        const StillRequest request{.at = cardTime(reel.info.duration), .camera = CameraUse::with};
        benchmark::DoNotOptimize(
            (*source)->still(request, reel.info.settings, 720, nullptr, Framing::fit).value());
    }
}

// With nothing in the cache, which is a new folder each time: the card is handed out, then kept.
void cardOfReel(benchmark::State& state) {
    const BenchReel& bench = BenchReel::shared();
    ReelPictures pictures(std::make_shared<PictureCache>(bench.folder() / "never"), {});
    Project reel = bench.reel();
    for (auto _ : state) {
        reel.info.settings.padding = 0.05 + 0.0001 * static_cast<double>(state.iterations() % 100);
        reel.info.settings.cornerRadius += 0.001;
        waitFor(pictures, &ReelPictures::cardReady, [&] { pictures.requestCard(reel); });
    }
}

void cachedCard(benchmark::State& state) {
    const BenchReel& bench = BenchReel::shared();
    const auto cache = std::make_shared<PictureCache>(bench.folder() / "cache");
    ReelPictures pictures(cache, {});
    WallpaperMemo none({});
    cache->store(cardKey(bench.reel(), {}), *drawCard(bench.reel(), ReelPictures::kCardLongSide, none, {}));
    for (auto _ : state)
        waitFor(pictures, &ReelPictures::cardReady, [&] { pictures.requestCard(bench.reel()); });
}

void scrubOfReel(benchmark::State& state) {
    ReelPictures pictures(nullptr, {});
    for (auto _ : state)
        waitFor(pictures, &ReelPictures::scrubReady,
                [&] { pictures.requestScrub(BenchReel::shared().reel()); });
}

// The frame has been grabbed before: all eight tiles, at two device pixels each.
void lookTiles(benchmark::State& state) {
    const Project& reel = BenchReel::shared().reel();
    LookPreviews previews(reel, {});
    previews.setPixelRatio(2);
    ProjectSettings settings = reel.info.settings;
    const auto draw = [&] { previews.refresh(settings, 3, 0); };
    waitFor(previews, &LookPreviews::finished, draw);
    for (auto _ : state) {
        settings.cursorSize += 0.001;
        waitFor(previews, &LookPreviews::finished, draw);
    }
}

// At another moment each time.
void lookTilesAfterSeek(benchmark::State& state) {
    const Project& reel = BenchReel::shared().reel();
    LookPreviews previews(reel, {});
    previews.setPixelRatio(2);
    Seconds playhead = 0;
    for (auto _ : state) {
        playhead = playhead > 5 ? playhead - 4.9 : playhead + 2.3;
        waitFor(previews, &LookPreviews::finished,
                [&] { previews.refresh(reel.info.settings, playhead, 0); });
    }
}

BENCHMARK(stillOfReel)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(cardOfReel)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(cachedCard)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(scrubOfReel)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(lookTiles)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(lookTilesAfterSeek)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

} // namespace
} // namespace glintro
