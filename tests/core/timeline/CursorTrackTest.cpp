#include <algorithm>
#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "core/timeline/CursorTrack.h"
#include "tests/core/timeline/Generators.h"
#include "tests/core/timeline/Values.h"

namespace glintro::testing {
namespace {

using Samples = std::vector<EventSample>;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinite = std::numeric_limits<double>::infinity();

EventSample shortSample(std::uint8_t count) {
    EventSample sample;
    sample.count = count;
    return sample;
}

TEST(CursorTrack, NeedsASampleAndADuration) {
    const struct {
        std::string name;
        Samples samples;
        Seconds duration;
        bool made;
    } rows[] = {
        {"no samples", {}, 1, false},
        {"only short samples", {shortSample(0), shortSample(2)}, 1, false},
        {"only samples without numbers", {sample(kNone, 0, 0), sample(0, kInfinite, 0)}, 1, false},
        {"no duration", {sample(0, 1, 2)}, 0, false},
        {"negative duration", {sample(0, 1, 2)}, -1, false},
        {"duration that is no number", {sample(0, 1, 2)}, kNone, false},
        {"one sample", {sample(0.5, 1, 2)}, 0.001, true},
        {"one good sample among bad ones", {shortSample(1), sample(0, 1, 2), sample(kNone, 9, 9)}, 1, true},
    };
    for (const auto& row : rows) {
        const auto track = CursorTrack::create(row.samples, row.duration, 8);
        ASSERT_EQ(track.has_value(), row.made) << row.name;
        if (!track) continue;
        EXPECT_EQ(track->position(-5), (Point{1, 2})) << row.name;
        EXPECT_EQ(track->position(row.duration), (Point{1, 2})) << row.name;
    }
}

// Long enough for the spring to come to rest, and to be woken again.
TEST(CursorTrack, RestsOnAStillPointerAndGoesOnWithIt) {
    const auto track = CursorTrack::create(
        {sample(0, 0.3, 0), sample(1, 0, 0.7), sample(500, 0, 0.7), sample(500.5, 1, 0.2)}, 700, 8);
    EXPECT_NEAR(track->position(499).x, 0, 1e-9);
    EXPECT_NEAR(track->position(499).y, 0.7, 1e-9);
    EXPECT_GT(track->position(500.5).x, 0.1);
    EXPECT_NEAR(track->position(699).x, 1, 1e-9);
    EXPECT_NEAR(track->position(699).y, 0.2, 1e-9);
}

RC_GTEST_PROP(CursorTrack, SettlesOnAStillPointerWithoutOvershoot, ()) {
    const double omega = anyStep(5, 80, 0.5);
    const auto track =
        CursorTrack::create({sample(0, 0, 50), sample(0.1, 0, 50), sample(0.1, 100, 50)}, 8, omega);
    RC_ASSERT(std::ranges::is_sorted(track->xs()));
    RC_ASSERT(track->xs().back() <= 100.0 + 1e-9);
    RC_ASSERT(track->xs().back() > 99.9);
    RC_ASSERT(std::ranges::count(track->ys(), 50.0) == std::ssize(track->ys()));
}

TEST(CursorTrack, WithoutSmoothingFollowsTheRecordedPath) {
    const auto track = CursorTrack::create({sample(0, 0, 0), sample(10, 100, 1)}, 10, 0);
    ASSERT_EQ(track->xs().size(), 1202U);
    EXPECT_DOUBLE_EQ(track->xs()[600], (5 + 3.0 / 480) * 10);
    EXPECT_DOUBLE_EQ(track->xs()[1201], 100);
}

TEST(CursorTrack, PositionsBetweenAndBeyondTheStoredPoints) {
    const auto track = CursorTrack::create({sample(0, 0, 0), sample(1, 1, -1)}, 1, 20);
    const std::size_t last = track->xs().size() - 1;
    const Point end{track->xs()[last], track->ys()[last]};
    EXPECT_EQ(track->position(0.5), (Point{track->xs()[60], track->ys()[60]}));
    EXPECT_NEAR(track->position(60.5 / 120).x, (track->xs()[60] + track->xs()[61]) / 2, 1e-12);
    for (const Seconds time : {1.5, 1e300, kInfinite}) EXPECT_EQ(track->position(time), end) << time;
    for (const Seconds time : {-5.0, -kInfinite, kNone})
        EXPECT_EQ(track->position(time), (Point{track->xs()[0], track->ys()[0]})) << time;
}

TEST(CursorTrack, EndsAfterADayHoweverLongTheRecordingClaimsToBe) {
    const auto track = CursorTrack::create({sample(0, 0, 0), sample(1e12, 1, 1)}, 1e300, 40);
    EXPECT_EQ(track->xs().size(), 24U * 3600 * 120 + 2);
    EXPECT_EQ(track->position(1e12).x, track->xs().back());
}

} // namespace
} // namespace glintro::testing
