// A library of ten thousand reels: to the first cards, to the whole list, searching as typed, a change from
// outside, and the memory it takes. "cold" asks the system to forget the files first, which only root may.

#include <QCoreApplication>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <malloc.h>
#include <unistd.h>

#include "app/library/Library.h"
#include "core/base/FileIO.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kReels = 10'000;
constexpr int kReelsADay = 8;
constexpr std::int64_t kNewest = 1'790'000'000; // seconds since 1970

void writeReel(const fs::path& root, int number) {
    const std::int64_t created = kNewest - number * 7200;
    const fs::path folder = root / fmt::format("day-{:05}", 99'999 - number / kReelsADay)
                            / fmt::format("{:02}.00.00", 23 - number % kReelsADay);
    fs::create_directories(folder);
    ProjectInfo info{
        .name = fmt::format("Recording {} of {}", number, number % 3 == 0 ? "Übersicht" : "the editor"),
        .created = Timestamp(std::chrono::seconds(created)),
        .duration = 60.0 + number % 100,
        .width = 2560,
        .height = 1600,
        .hasAudio = number % 2 == 0};
    for (int i = 0; i < 8; ++i)
        info.settings.zooms.push_back({Uuid::random(), 5.0 + i * 6, 8.0 + i * 6, 2.0});
    const auto text = encodeProjectInfo(info);
    if (!text || !writeFile(folder / "project.json", *text) || !writeFile(folder / "raw.mov", "")
        || !writeFile(folder / "events.json", std::string(2000, ' ')))
        std::abort();
}

// Made once for all measurements.
const fs::path& library() {
    static const TemporaryFolder folder;
    static const bool isMade = [] {
        for (int i = 0; i < kReels; ++i) writeReel(folder.path(), i);
        return true;
    }();
    static_cast<void>(isMade);
    return folder.path();
}

bool dropCaches() {
    ::sync();
    std::ofstream file("/proc/sys/vm/drop_caches");
    return static_cast<bool>(file << "3" << std::flush);
}

double residentMegabytes() {
    std::ifstream file("/proc/self/statm");
    long pages = 0;
    file >> pages >> pages;
    return static_cast<double>(pages * ::sysconf(_SC_PAGESIZE)) / 1e6;
}

double threadMilliseconds() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// A library as a window has it, without a window.
class OpenLibrary {
  public:
    OpenLibrary() {
        static int count = 1;
        static char name[] = "bench";
        static char* arguments[] = {name, nullptr};
        static QCoreApplication application(count, arguments);
        library_ = std::make_unique<Library>(
            Library::Seams{.preferences = preferences_, .folder = [] { return LibraryFolder(library()); }});
    }
    Library& operator*() { return *library_; }
    Library* operator->() { return library_.get(); }

    template <class Predicate>
    void handleUntil(Predicate predicate) {
        while (!predicate()) {
            const double start = threadMilliseconds();
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            held = std::max(held, threadMilliseconds() - start);
        }
    }
    double held = 0; // milliseconds of processor time, the longest that the main thread was kept busy

    void readAll() {
        library_->reload();
        handleUntil([&] { return !library_->isLoading(); });
    }

  private:
    TransientPreferenceStore store_;
    Preferences preferences_{store_};
    std::unique_ptr<Library> library_;
};

// 0: the first cards, 1: the whole list.
void openLibrary(benchmark::State& state, bool isCold, bool isWhole) {
    library();
    for (auto _ : state) {
        if (isCold && !dropCaches()) return state.SkipWithError("only root can make it cold");
        OpenLibrary opened;
        const auto start = Clock::now();
        opened->reload();
        opened.handleUntil([&] { return isWhole ? !opened->isLoading() : opened->count() > 0; });
        state.SetIterationTime(secondsSince(start));
        opened.handleUntil([&] { return !opened->isLoading(); });
        state.counters["held ms"] = std::max(state.counters["held ms"].value, opened.held);
        if (opened->count() != kReels) return state.SkipWithError("not all reels were found");
    }
}
BENCHMARK_CAPTURE(openLibrary, firstCardsWarm, false, false)
    ->UseManualTime()
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(openLibrary, allWarm, false, true)
    ->UseManualTime()
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(openLibrary, firstCardsCold, true, false)
    ->UseManualTime()
    ->Iterations(2)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(openLibrary, allCold, true, true)
    ->UseManualTime()
    ->Iterations(2)
    ->Unit(benchmark::kMillisecond);

// The reading alone, in processor time of all threads.
void scanAll(benchmark::State& state) {
    const fs::path& root = library();
    for (auto _ : state)
        benchmark::DoNotOptimize(scanLibrary(root, {.threads = static_cast<int>(state.range(0))}));
}
BENCHMARK(scanAll)->Arg(1)->Arg(2)->MeasureProcessCPUTime()->UseRealTime()->Iterations(5)->Unit(
    benchmark::kMillisecond);

// Every letter of a query and every letter taken back, with the rows that follow.
void searchAsTyped(benchmark::State& state) {
    OpenLibrary opened;
    opened.readAll();
    const QString query = QStringLiteral("übersicht");
    qsizetype length = 0;
    for (auto _ : state) {
        length = length % (2 * query.size()) + 1;
        opened->setQuery(query.left(length <= query.size() ? length : 2 * query.size() - length));
    }
}
BENCHMARK(searchAsTyped)->Unit(benchmark::kMillisecond);

// From the write of another program to the changed row.
void showChange(benchmark::State& state) {
    OpenLibrary opened;
    opened.readAll();
    Project project = opened->projects()[kReels / 2]->project;
    const QString folder = opened->projects()[kReels / 2]->folder;
    std::this_thread::sleep_for(std::chrono::seconds(2)); // all are watched
    int edits = 0;
    for (auto _ : state) {
        project.info.name = "Edit " + std::to_string(++edits);
        const auto start = Clock::now();
        if (!project.save()) return state.SkipWithError("cannot write");
        opened.handleUntil([&] { return opened->project(folder)->info.name == project.info.name; });
        state.SetIterationTime(secondsSince(start));
    }
}
BENCHMARK(showChange)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

// What the whole process takes in memory, in megabytes; the time says nothing.
void memoryOfTenThousandReels(benchmark::State& state) {
    for (auto _ : state) {
        OpenLibrary opened;
        opened.readAll();
        const double megabytes = residentMegabytes();
        state.counters["MB"] = megabytes;
        state.counters["in use MB"] = static_cast<double>(::mallinfo2().uordblks) / 1e6;
        if (megabytes > 150) state.SkipWithError("more than 150 MB");
    }
}
BENCHMARK(memoryOfTenThousandReels)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace glintro
