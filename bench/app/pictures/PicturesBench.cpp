// What the windows ask for: a card from the cache and a new one beside the bare still, the frames of a
// hovered card, and the tiles of the Look panel while a slider is dragged. A recording of 2560 x 1600 pixels
// at 60, from the request on the main thread to the signal there.

#include <QCoreApplication>
#include <QEventLoop>
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <limits>
#include <optional>

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

void drawStill() {
    const Project& reel = BenchReel::shared().reel();
    auto source = StillSource::open(reel);
    const StillRequest request{.at = cardTime(reel.info.duration), .camera = CameraUse::with};
    benchmark::DoNotOptimize(
        (*source)->still(request, reel.info.settings, 720, nullptr, Framing::fit).value());
}

void stillOfReel(benchmark::State& state) {
    BenchReel::shared(); // is made outside the measurement
    for (auto _ : state) drawStill();
}

// Asks for cards that no cache knows, for each has settings of its own.
class NewCards {
  public:
    void draw() {
        reel_.info.settings.cornerRadius = nextRadius_ += 0.001;
        waitFor(pictures_, &ReelPictures::cardReady, [&] { pictures_.requestCard(reel_); });
    }

  private:
    static inline double nextRadius_ = 1; // of all objects: they share a cache
    Project reel_ = BenchReel::shared().reel();
    ReelPictures pictures_{std::make_shared<PictureCache>(BenchReel::shared().folder() / "new"), {}};
};

void cardOfReel(benchmark::State& state) {
    NewCards cards;
    for (auto _ : state) cards.draw();
}

// Processor time of a card over that of its still, in turns, the best of five each. The table prints this
// ratio as milliseconds.
void cardPerStill(benchmark::State& state) {
    NewCards cards;
    const auto cost = [](const auto& work) {
        const std::clock_t before = std::clock();
        work();
        return static_cast<double>(std::clock() - before);
    };
    for (auto _ : state) {
        double still = std::numeric_limits<double>::infinity();
        double card = still;
        for (int i = 0; i < 5; ++i) {
            still = std::min(still, cost(drawStill));
            card = std::min(card, cost([&] { cards.draw(); }));
        }
        state.SetIterationTime(card / still / 1000);
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
BENCHMARK(cardPerStill)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(1);
BENCHMARK(cachedCard)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(scrubOfReel)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(lookTiles)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(lookTilesAfterSeek)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

} // namespace
} // namespace glintro
