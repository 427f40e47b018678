#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "core/timeline/Storyboard.h"
#include "tests/core/timeline/Values.h"

namespace glintro::testing {
namespace {

struct Stretch {
    Shot::Kind kind;
    Seconds start;
    Seconds end;
    double scale = 1;
    double rate = 1;
};

constexpr auto kWideShot = Shot::Kind::wide;
constexpr auto kZoomShot = Shot::Kind::zoom;
constexpr auto kCutShot = Shot::Kind::cut;

TEST(Shots, OfARecordingOfTwentySeconds) {
    const struct {
        std::string name;
        Edits edits;
        std::vector<Stretch> shots;
    } rows[] = {
        {"untouched", {}, {{kWideShot, 0, 20}}},
        {"trimmed to nothing", {.trimStart = 5, .trimEnd = 5.01}, {}},
        {"trimmed", {.trimStart = 5, .trimEnd = 15}, {{kWideShot, 5, 15}}},
        {"zoom", {.zooms = {zoom(4, 8)}}, {{kWideShot, 0, 4}, {kZoomShot, 4, 8, 2}, {kWideShot, 8, 20}}},
        {"edge next to the start", {.zooms = {zoom(0.04, 8)}}, {{kZoomShot, 0, 8, 2}, {kWideShot, 8, 20}}},
        {"edges of one moment",
         {.zooms = {zoom(4, 8)}, .cuts = {cut(8.04, 9)}},
         {{kWideShot, 0, 4}, {kZoomShot, 4, 8, 2}, {kCutShot, 8, 9}, {kWideShot, 9, 20}}},
        {"the larger of two zooms",
         {.zooms = {zoom(0, 20), zoom(5, 10, 2.5)}},
         {{kZoomShot, 0, 5, 2}, {kZoomShot, 5, 10, 2.5}, {kZoomShot, 10, 20, 2}}},
        {"cut inside a zoom",
         {.zooms = {zoom(0, 20)}, .cuts = {cut(5, 10)}},
         {{kZoomShot, 0, 5, 2}, {kCutShot, 5, 10, 2}, {kZoomShot, 10, 20, 2}}},
        {"split", {.splits = {7}}, {{kWideShot, 0, 7}, {kWideShot, 7, 20}}},
        {"speed below the lowest rate",
         {.speeds = {speed(0, 5, 0.1)}},
         {{kWideShot, 0, 5, 1, 0.25}, {kWideShot, 5, 20}}},
        {"reversed and outside", {.zooms = {zoom(8, 4), zoom(30, 40)}}, {{kWideShot, 0, 20}}},
    };
    for (const auto& row : rows) {
        const auto shots = Storyboard::shots(row.edits, 20);
        ASSERT_EQ(shots.size(), row.shots.size()) << row.name;
        for (std::size_t i = 0; i < shots.size(); ++i) {
            Shot expected = shots[i]; // whatever the ids
            expected.number = static_cast<int>(i) + 1;
            expected.kind = row.shots[i].kind;
            expected.start = row.shots[i].start;
            expected.end = row.shots[i].end;
            expected.scale = row.shots[i].scale;
            expected.rate = row.shots[i].rate;
            EXPECT_EQ(shots[i], expected) << row.name;
        }
    }
}

TEST(Shots, AreFoundByTime) {
    const auto shots = Storyboard::shots(Edits{.zooms = {zoom(4, 8)}}, 20);
    const struct {
        Seconds time;
        int number; // 0 for none
    } rows[] = {{-0.01, 0}, {0, 1},  {3.9, 1},     {4, 2},     {4 - 1e-7, 2},
                {8, 3},     {20, 3}, {20.0005, 3}, {20.01, 0}, {std::numeric_limits<double>::quiet_NaN(), 0}};
    for (const auto& row : rows) {
        const Shot* found = Storyboard::shot(row.time, shots);
        EXPECT_EQ(found ? found->number : 0, row.number) << row.time;
    }
    EXPECT_EQ(Storyboard::shot(0, {}), nullptr);
    EXPECT_EQ(Storyboard::boundaries(shots), (std::vector<Seconds>{0, 4, 8, 20}));
    EXPECT_TRUE(Storyboard::boundaries({}).empty());
}

TEST(Shots, CaptionsTellKindAndLength) {
    const struct {
        Shot::Kind kind;
        Seconds length;
        double scale;
        double rate;
        std::string caption;
        Seconds outputDuration;
    } rows[] = {
        {kWideShot, 30, 1, 1, "Wide · 30s", 30},     {kZoomShot, 8, 2, 2, "2.0× · 4.0s", 4},
        {kZoomShot, 95, 1.75, 1, "1.8× · 1:35", 95}, {kCutShot, 4.25, 2, 2, "Cut · 4.2s", 0},
        {kWideShot, 1, 1, 0.1, "Wide · 4.0s", 4},
    };
    for (const auto& row : rows) {
        Shot shot{.kind = row.kind, .scale = row.scale, .rate = row.rate};
        shot.end = row.length;
        EXPECT_EQ(shot.caption(), row.caption);
        EXPECT_EQ(shot.outputDuration(), row.outputDuration) << row.caption;
    }
}

} // namespace
} // namespace glintro::testing
