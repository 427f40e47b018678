// What a person who edits waits for, by the clock on the wall: pictures of 1280 x 720 pixels from a recording
// of 2560 x 1600 at 60 frames a second, from the request to the signal that the picture is there.

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <algorithm>
#include <ctime>
#include <functional>
#include <random>
#include <string>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "app/player/ReelPlayer.h"
#include "bench/app/player/PlayerReels.h"

namespace glintro {
namespace {

using namespace bench;

constexpr PixelSize kView{1280, 720};

Seconds processorTime(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return static_cast<Seconds>(time.tv_sec) + static_cast<Seconds>(time.tv_nsec) * 1e-9;
}

std::string milliseconds(Seconds time) {
    return fmt::format("{:.1f} ms", time * 1000);
}

// Notes for how long the main thread was held by one call or one event.
class MainThread : public QCoreApplication {
  public:
    MainThread(int& argumentCount, char** arguments) : QCoreApplication(argumentCount, arguments) {}

    bool notify(QObject* receiver, QEvent* event) override {
        bool isHandled = false;
        call([&] { isHandled = QCoreApplication::notify(receiver, event); });
        return isHandled;
    }
    static void call(const std::function<void()>& work) {
        const Seconds start = hostTime();
        const Seconds computed = threadTime();
        work();
        longest = std::max(longest, hostTime() - start);
        longestComputing = std::max(longestComputing, threadTime() - computed);
    }
    static inline Seconds longest = 0;          // on the wall
    static inline Seconds longestComputing = 0; // of processor time: without what other programs took

  private:
    static Seconds threadTime() { return processorTime(CLOCK_THREAD_CPUTIME_ID); }
};

std::shared_ptr<const BgraImage> desktopPicture() {
    static const auto picture = [] {
        auto image = std::make_shared<BgraImage>(PixelSize{3840, 2400});
        for (std::size_t i = 0; i < image->pixels.size(); ++i)
            image->pixels[i] = static_cast<std::uint8_t>(i % 4 == 3 ? 255 : i / 150'000 + i % 31);
        return image;
    }();
    return picture;
}

// A player of one reel whose events are handled only while something is awaited.
class Session {
  public:
    explicit Session(const Project& reel) : settings(reel.info.settings) {
        player.setViewSize(kView);
        const auto check = [this] {
            if (loop_.isRunning() && wanted_()) loop_.quit();
        };
        QObject::connect(&player, &ReelPlayer::pictureReady, &loop_, check);
        QObject::connect(&player, &ReelPlayer::advanced, &loop_, check);
        MainThread::call([&] { player.open(reel, settings, 5); });
        until([this] { return player.mailbox()->newest().image != nullptr; });
    }

    // Until the answer is yes after a picture or a tick of playing.
    void until(std::function<bool()> isWanted) {
        if (isWanted()) return;
        wanted_ = std::move(isWanted);
        loop_.exec();
    }
    void pass(Seconds duration) {
        QTimer::singleShot(static_cast<int>(duration * 1000), &loop_, &QEventLoop::quit);
        wanted_ = [] { return false; };
        loop_.exec();
    }
    // Host time from a request to the first picture of which the condition holds.
    Seconds answer(const std::function<void()>& request,
                   const std::function<bool(const PlayerPicture&)>& is) {
        const Seconds start = hostTime();
        MainThread::call(request);
        until([&] { return is(player.mailbox()->newest()); });
        return hostTime() - start;
    }
    void rest() {
        while (!player.isAtRest()) pass(0.01);
    }

    ReelPlayer player{{.openSound = [] { return std::make_unique<PacedOutput>(); },
                       .loadWallpaper = [](PixelSize) { return desktopPicture(); }}};
    ProjectSettings settings;

  private:
    QEventLoop loop_;
    std::function<bool()> wanted_;
};

// The floor: the recording's frames decoded one after the other, and nothing else.
void decodeAlone(benchmark::State& state) {
    auto reader = MovieReader::open(busyReel().rawURL()).value();
    int frame = 0;
    for (auto _ : state) benchmark::DoNotOptimize(reader->frameAt((frame++ % 3000 + 0.5) / kFps));
}

// The time for each picture; at the reel's own speed for each that was shown when it was due, of which sixty
// a second are wanted, and at most one in a hundred late or left out.
void play(benchmark::State& state) {
    Session session(busyReel());
    const auto rate = static_cast<double>(state.range(0));
    session.player.setRate(rate);
    session.rest();
    for (auto _ : state) {
        MainThread::call([&] { session.player.play(); });
        const Seconds start = session.player.position();
        session.until([&] { return session.player.position() > start + 0.1; });
        const PlayerStatistics before = session.player.statistics();
        const Seconds computed = processorTime(CLOCK_PROCESS_CPUTIME_ID);
        const Seconds from = hostTime();
        session.pass(std::min(8.0, 45 / rate));
        const PlayerStatistics after = session.player.statistics();
        const auto shown = static_cast<double>(after.shown - before.shown);
        const auto late = static_cast<double>(after.late - before.late);
        state.SetIterationTime((hostTime() - from) / (rate > 1 ? shown : shown - late));
        const Seconds each = (processorTime(CLOCK_PROCESS_CPUTIME_ID) - computed) / shown;
        state.SetLabel(fmt::format("{} shown, {} late, {} dropped, {} of processor time each", shown, late,
                                   after.dropped - before.dropped, milliseconds(each)));
        MainThread::call([&] { session.player.pause(); });
    }
}

// Where a person drags the playhead: to and fro with jumps now and then.
class Dragging {
  public:
    Seconds next() {
        time_ = request_++ % 8 == 0 ? jump_(random_) : std::clamp(time_ + drag_(random_), 0.0, 59.9);
        return time_;
    }

  private:
    std::mt19937 random_{4};
    std::uniform_real_distribution<Seconds> jump_{0, 59};
    std::uniform_real_distribution<Seconds> drag_{-0.6, 0.6};
    Seconds time_ = 5;
    int request_ = 0;
};

void scrubToAPicture(benchmark::State& state) {
    Session session(busyReel());
    Dragging dragging;
    for (auto _ : state) {
        const Seconds time = dragging.next();
        state.SetIterationTime(
            session.answer([&] { session.player.seek(time, SeekKind::scrubbing); },
                           [&](const auto& shown) { return shown.compositionTime == time; }));
    }
}

// Five moves 16 ms apart, then rest: from the last one to the exact picture.
void scrubToRest(benchmark::State& state) {
    Session session(busyReel());
    Dragging dragging;
    Seconds longest = 0;
    for (auto _ : state) {
        for (int i = 0; i < 4; ++i) {
            session.player.seek(dragging.next(), SeekKind::scrubbing);
            session.pass(0.016);
        }
        const Seconds time = dragging.next();
        const Seconds taken =
            session.answer([&] { session.player.seek(time, SeekKind::scrubbing); },
                           [&](const auto& shown) { return shown.compositionTime == time && shown.isExact; });
        state.SetIterationTime(taken);
        longest = std::max(longest, taken);
    }
    state.SetLabel("longest " + milliseconds(longest));
}

void change(benchmark::State& state, Session& session,
            const std::function<void(ProjectSettings&, double)>& set) {
    int step = 0;
    for (auto _ : state) {
        session.rest();
        const auto before = session.player.mailbox()->newest().image;
        set(session.settings, (step++ % 50) / 50.0);
        state.SetIterationTime(
            session.answer([&] { session.player.setSettings(session.settings, session.player.position()); },
                           [&](const auto& shown) { return shown.image != before; }));
    }
}

void changeLook(benchmark::State& state) {
    Session session(busyReel());
    change(state, session, [](ProjectSettings& settings, double share) { settings.padding = 0.2 * share; });
}

void changeWallpaperBlur(benchmark::State& state) {
    Session session(busyReel());
    session.settings.background = BackgroundKind::wallpaper;
    session.player.setSettings(session.settings, 5);
    session.pass(1);
    change(state, session,
           [](ProjectSettings& settings, double share) { settings.wallpaperBlur = 1 + 79 * share; });
}

// The part around the playhead is cut out: the picture of where the reel goes on is wanted.
void changeStructure(benchmark::State& state) {
    Session session(busyReel());
    std::mt19937 random(5);
    std::uniform_real_distribution<Seconds> middle(3, 50);
    Seconds longest = 0;
    for (auto _ : state) {
        session.settings.cuts.clear();
        const Seconds time = middle(random);
        session.player.setSettings(session.settings, time);
        session.player.seek(time, SeekKind::exact);
        session.rest();
        CutSegment cut;
        cut.start = time - 1;
        cut.end = time + 2;
        session.settings.cuts = {cut};
        const Seconds wanted = TimeMap(session.settings, 60).composition(time);
        const Seconds taken = session.answer(
            [&] { session.player.setSettings(session.settings, wanted); },
            [&](const auto& shown) { return shown.compositionTime == wanted && shown.isExact; });
        state.SetIterationTime(taken);
        longest = std::max(longest, taken);
    }
    state.SetLabel("longest " + milliseconds(longest));
}

void openAnHour(benchmark::State& state) {
    hourReel();
    Seconds computed = 0;
    for (auto _ : state) {
        const Seconds start = hostTime();
        computed -= processorTime(CLOCK_PROCESS_CPUTIME_ID);
        const Session session(hourReel());
        state.SetIterationTime(hostTime() - start);
        computed += processorTime(CLOCK_PROCESS_CPUTIME_ID);
    }
    const auto openings = static_cast<double>(state.iterations());
    state.SetLabel(milliseconds(computed / openings) + " of processor time");
}

// Of everything above: runs last.
void longestCallOrEvent(benchmark::State& state) {
    for (auto _ : state) state.SetIterationTime(MainThread::longest);
    state.SetLabel(milliseconds(MainThread::longestComputing) + " of them computing");
}

void once(benchmark::internal::Benchmark* row, int iterations) {
    row->Iterations(iterations)->UseManualTime()->Unit(benchmark::kMillisecond);
}

void addRows() {
    benchmark::RegisterBenchmark("decodeAlone", decodeAlone)
        ->MeasureProcessCPUTime()
        ->UseRealTime()
        ->Iterations(600)
        ->Unit(benchmark::kMillisecond);
    for (const int rate : {1, 8})
        once(benchmark::RegisterBenchmark("play", play)->ArgName("rate")->Arg(rate), 1);
    once(benchmark::RegisterBenchmark("scrubToAPicture", scrubToAPicture), 100);
    once(benchmark::RegisterBenchmark("scrubToRest", scrubToRest), 50);
    once(benchmark::RegisterBenchmark("changeLook", changeLook), 100);
    once(benchmark::RegisterBenchmark("changeWallpaperBlur", changeWallpaperBlur), 100);
    once(benchmark::RegisterBenchmark("changeStructure", changeStructure), 30);
    once(benchmark::RegisterBenchmark("openAnHour", openAnHour), 5);
    once(benchmark::RegisterBenchmark("longestCallOrEvent", longestCallOrEvent), 1);
}

} // namespace
} // namespace glintro

int main(int argumentCount, char** arguments) {
    benchmark::Initialize(&argumentCount, arguments);
    glintro::MainThread application(argumentCount, arguments);
    glintro::addRows();
    benchmark::RunSpecifiedBenchmarks();
}
