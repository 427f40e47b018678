#include <string>

#include <gtest/gtest.h>

#include "core/timeline/PauseClock.h"

namespace glintro::testing {
namespace {

TEST(PauseClock, CutsPausesOut) {
    const PauseClock unpaused;
    const PauseClock twice{{{1, 2}, {3, 5}}};
    const PauseClock open{{{1, 2}, {10, std::nullopt}}};
    const struct {
        std::string name;
        PauseClock clock;
        Seconds time;
        Seconds paused;
        std::optional<Seconds> shifted;
    } rows[] = {
        {"no gaps", unpaused, 7, 0, 7},
        {"before all gaps", twice, 0.5, 0, 0.5},
        {"at a gap's start", twice, 1, 0, std::nullopt},
        {"at a gap's end", twice, 2, 1, 1},
        {"inside the second gap", twice, 4, 2, std::nullopt},
        {"after all gaps", twice, 6, 3, 3},
        {"before an open gap", open, 9, 1, 8},
        {"inside an open gap", open, 12, 3, std::nullopt},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.clock.paused(row.time), row.paused) << row.name;
        EXPECT_EQ(row.clock.shifted(row.time), row.shifted) << row.name;
        EXPECT_EQ(row.clock.isInPause(row.time), !row.shifted) << row.name;
    }
}

TEST(PauseClock, IgnoresWhatDoesNotFit) {
    PauseClock clock;
    clock.resume(1);
    EXPECT_EQ(clock, PauseClock{});
    clock.pause(7);
    clock.pause(8);
    EXPECT_TRUE(clock.isPaused());
    EXPECT_EQ(clock.gaps, (std::vector<PauseClock::Gap>{{7, std::nullopt}}));
    clock.resume(5);
    clock.resume(9);
    EXPECT_FALSE(clock.isPaused());
    EXPECT_EQ(clock.gaps, (std::vector<PauseClock::Gap>{{7, 7}}));
    EXPECT_EQ(clock.shifted(7), 7);
}

} // namespace
} // namespace glintro::testing
