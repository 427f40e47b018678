#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "app/player/SoundHistory.h"

namespace glintro {
namespace {

// Any sequence of sound, silence, seeks and changes of rate, held against a list of all samples.
RC_GTEST_PROP(SoundHistory, TellsTheMomentOfEverySample, ()) {
    SoundHistory history;
    std::vector<SoundHistory::Moment> samples;
    Seconds now = 0;
    std::uint32_t generation = 1;
    const auto changes = *rc::gen::inRange(1, 12);
    for (int change = 0; change < changes; ++change) {
        const auto kind = *rc::gen::inRange(0, 3);
        if (kind == 0) {
            now = *rc::gen::inRange(0, 100);
            ++generation;
        }
        const Seconds step = kind == 1 ? 0 : *rc::gen::inRange(1, 8) / 48000.0;
        const auto calls = *rc::gen::inRange(1, 4);
        for (int call = 0; call < calls; ++call) {
            const auto count = *rc::gen::inRange(1, 600);
            history.add(count, {now, generation}, step);
            for (int i = 0; i < count; ++i, now += step) samples.push_back({now, generation});
        }
    }
    const auto ago = *rc::gen::inRange<std::size_t>(1, samples.size() + 1);
    const auto& expected = samples[samples.size() - ago];
    const auto found = history.before(static_cast<double>(ago));
    RC_ASSERT(std::abs(found.compositionTime - expected.compositionTime) < 1e-5);
    RC_ASSERT(found.generation == expected.generation);
}

} // namespace
} // namespace glintro
