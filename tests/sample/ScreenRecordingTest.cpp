#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include <gtest/gtest.h>

#include "sample/ScreenRecording.h"

namespace glintro::sample {
namespace {

constexpr PixelSize kSize{640, 400};

std::vector<unsigned char> pixels(Canvas& canvas) {
    const unsigned char* data = canvas.pixels();
    const auto bytes =
        static_cast<std::size_t>(canvas.strideBytes()) * static_cast<std::size_t>(canvas.size().height);
    return {data, data + bytes};
}

// Layers round differently when they are cut differently: by one step, seldom two.
int largestDifference(Canvas& one, Canvas& other) {
    int largest = 0;
    const std::vector<unsigned char> a = pixels(one);
    const std::vector<unsigned char> b = pixels(other);
    for (std::size_t i = 0; i < a.size(); ++i) largest = std::max(largest, std::abs(a[i] - b[i]));
    return largest;
}

// Replays a script event by event and says what the pointer was over at each press.
std::vector<Target> pressedTargets(const AppLayout& layout, const SampleScript& script) {
    AppState state(layout);
    std::vector<Target> targets;
    for (const InputEvent& input : script.inputs) {
        if (input.kind == InputEvent::Kind::press) targets.push_back(state.targetAt(input.at, input.time));
        state.receive(input);
    }
    return targets;
}

TEST(SampleScriptTest, EveryPressHitsSomethingAndLiesOnThePointersPath) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        const AppLayout layout(kSize);
        const SampleScript script = writeScript(layout, 120, seed);
        const std::vector<Target> targets = pressedTargets(layout, script);
        EXPECT_GT(targets.size(), 15U);
        for (const Target& target : targets) EXPECT_NE(target.part, Part::none) << "seed " << seed;
        for (const InputEvent& input : script.inputs) {
            if (input.kind == InputEvent::Kind::key) continue;
            const Point pointer = script.path.at(input.time);
            EXPECT_NEAR(pointer.x, input.at.x, 1e-6);
            EXPECT_NEAR(pointer.y, input.at.y, 1e-6);
        }
    }
}

TEST(SampleScriptTest, AddsTasksAndMovesCards) {
    const AppLayout layout(kSize);
    AppState state(layout);
    const std::size_t before = state.tasks.size();
    const auto columns = state.columns;
    for (const InputEvent& input : writeScript(layout, 90, 3).inputs) state.receive(input);
    EXPECT_GT(state.tasks.size(), before);
    EXPECT_NE(state.columns, columns);
    EXPECT_FALSE(state.dialogOpen);
    EXPECT_FALSE(state.drag);
}

TEST(SampleScriptTest, NoSceneIsCutOffAtTheEnd) {
    const AppLayout layout(kSize);
    for (const double duration : {0.5, 3.0, 8.0, 20.0, 45.0}) {
        const SampleScript script = writeScript(layout, duration, 11);
        AppState state(layout);
        for (const InputEvent& input : script.inputs) {
            EXPECT_LT(input.time, duration);
            state.receive(input);
        }
        EXPECT_FALSE(state.dialogOpen || state.menuOpen || state.drag) << duration;
    }
}

TEST(ScreenRecordingTest, EventsAscendWithinTheTakeAndClicksLieInside) {
    for (const PixelSize size : {PixelSize{320, 200}, PixelSize{1080, 1920}, PixelSize{2560, 720}}) {
        const ScreenRecording screen(size, 30, 4);
        const RecordingEvents events = screen.events();
        EXPECT_TRUE(std::ranges::is_sorted(events.cursor, {}, &EventSample::sourceTime));
        EXPECT_TRUE(std::ranges::is_sorted(events.clicks, {}, &EventSample::sourceTime));
        EXPECT_GE(events.cursor.front().sourceTime(), -0.2);
        EXPECT_LE(events.cursor.back().sourceTime(), 30.2);
        EXPECT_GT(events.cursor.size(), 30U * 60U);
        for (const EventSample& click : events.clicks) {
            EXPECT_TRUE(contains({0, 0, 1, 1}, click.position()));
            EXPECT_TRUE(click.sourceTime() >= 0 && click.sourceTime() <= 30);
        }
    }
}

TEST(ScreenRecordingTest, RedrawingOnlyWhatChangedEqualsDrawingEverything) {
    ScreenRecording recording(kSize, 60, 2);
    const AppLayout& layout = recording.layout();
    AppState state(layout);
    std::size_t next = 0;
    const auto& inputs = recording.script().inputs;
    for (int frame = 0; frame < 45 * 30; ++frame) {
        const Seconds time = frame / 30.0;
        recording.advance(time);
        if (frame % 13 != 0) continue;
        while (next < inputs.size() && inputs[next].time <= time) state.receive(inputs[next++]);
        AppPainter fresh(kSize, layout);
        fresh.paint(state, AppFrame::evaluate(state, time, recording.script().path.at(time)));
        ASSERT_LE(largestDifference(recording.canvas(), fresh.canvas()), 2) << "at " << time;
    }
}

TEST(ScreenRecordingTest, StillStretchesHoldTheirPicture) {
    ScreenRecording recording(kSize, 60, 2);
    int changes = 0;
    for (int frame = 0; frame < 60 * 60; ++frame) {
        changes += recording.advance(frame / 60.0) == ScreenRecording::Change::some ? 1 : 0;
    }
    EXPECT_GT(changes, 400);
    EXPECT_LT(changes, 60 * 60 * 2 / 3);
}

} // namespace
} // namespace glintro::sample
