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

} // namespace
} // namespace glintro::sample
