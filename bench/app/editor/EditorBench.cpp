#include <QCoreApplication>
#include <filesystem>
#include <random>

#include <benchmark/benchmark.h>

#include "app/editor/EditorModel.h"
#include "core/base/FileIO.h"
#include "tests/app/editor/StillPlayer.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

constexpr Seconds kHour = 3600;
constexpr int kShots = 500;
constexpr int kSamples = 400'000;
constexpr int kEdits = 1000;

QCoreApplication& application() {
    static int count = 1;
    static char name[] = "bench";
    static char* arguments[] = {name, nullptr};
    static QCoreApplication application(count, arguments);
    return application;
}

// An hour whose shots are wide, zoomed, cut and sped up in turn. The movie is never opened.
Project hourOf(const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder);
    ProjectSettings settings;
    for (int i = 0; i < kShots; ++i) {
        const Seconds start = i * kHour / kShots;
        const Seconds end = start + kHour / kShots;
        if (i > 0) settings.splits.push_back(start);
        if (i % 4 == 1) settings.zooms.push_back({.start = start, .end = end});
        if (i % 4 == 2) settings.cuts.push_back({.start = start, .end = end});
        if (i % 4 == 3) settings.speeds.push_back({.start = start, .end = end});
    }
    RecordingEvents events{.duration = kHour};
    for (int i = 0; i < kSamples; ++i) events.cursor.push_back({{i * kHour / kSamples, 0.3, i * 0.618}});
    for (int i = 0; i < kShots; ++i) events.clicks.push_back({{i * kHour / kShots, 0.5, 0.5}});
    Project project(folder, {.name = "Hour", .duration = kHour, .width = 2560, .height = 1600});
    project.info.settings = settings;
    const bool isWritten =
        writeFile(project.rawURL(), "a movie") && project.save() && writeEvents(events, project.eventsURL());
    if (!isWritten) throw std::runtime_error("no reel could be written");
    return project;
}

struct Editor {
    explicit Editor(const Project& project)
        : model(project, {.player = player, .preferences = preferences}) {}

    test::StillPlayer player;
    TransientPreferenceStore store;
    Preferences preferences{store};
    EditorModel model;
};

void editAtRandom(EditorModel& model, std::mt19937& random) {
    std::uniform_int_distribution<int> kind(0, 5);
    std::uniform_int_distribution<int> shot(1, model.shots()->count());
    std::uniform_real_distribution<double> time(0, kHour);
    switch (kind(random)) {
        case 0:
            model.playback()->seek(time(random));
            return model.actions()->splitAtPlayhead();
        case 1:
            return model.actions()->cutShot(shot(random));
        case 2:
            return model.actions()->cycleSpeed(shot(random));
        case 3:
            return model.actions()->toggleZoom(shot(random));
        case 4:
            return model.actions()->joinWithNext(shot(random));
        default:
            return model.panels()->set("padding", time(random) / kHour * 0.2);
    }
}

// A thousand edits in groups that the history holds, each group undone whole: everything but decoding and
// drawing, with the lists, the requests for pictures and the pending save.
void editsAndUndos(benchmark::State& state) {
    application();
    const TemporaryFolder folder;
    Editor editor(hourOf(folder / "hour"));
    editor.model.open();
    std::mt19937 random(1);
    for (auto _ : state) {
        for (int group = 0; group < kEdits / 50; ++group) {
            for (int i = 0; i < 50; ++i) editAtRandom(editor.model, random);
            while (editor.model.edits()->canUndo()) editor.model.edits()->undo();
        }
    }
    state.counters["shots"] = editor.model.shots()->count();
}
BENCHMARK(editsAndUndos)->Unit(benchmark::kMillisecond)->Iterations(5);

// Until the storyboard, the playhead and the player's first order are there.
void openHourFirstState(benchmark::State& state) {
    application();
    const TemporaryFolder folder;
    const Project project = hourOf(folder / "hour");
    for (auto _ : state) {
        Editor editor(project);
        editor.model.open();
        benchmark::DoNotOptimize(editor.model.shots()->count());
        state.PauseTiming();
        editor.model.close();
        state.ResumeTiming();
    }
}
BENCHMARK(openHourFirstState)->Unit(benchmark::kMillisecond)->Iterations(10);

// Until the events are read as well, from the project file on.
void openHourWithEvents(benchmark::State& state) {
    application();
    const TemporaryFolder folder;
    const std::filesystem::path reel = hourOf(folder / "hour").folder();
    for (auto _ : state) {
        const auto project = Project::load(reel);
        Editor editor(*project);
        bool hasMaterial = false;
        QObject::connect(&editor.model, &EditorModel::materialChanged, [&] { hasMaterial = true; });
        editor.model.open();
        while (!hasMaterial) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        state.PauseTiming();
        editor.model.close();
        state.ResumeTiming();
    }
}
BENCHMARK(openHourWithEvents)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();

} // namespace
} // namespace glintro
