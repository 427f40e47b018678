#include <algorithm>
#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "core/timeline/AutoZoom.h"
#include "tests/core/timeline/Generators.h"
#include "tests/core/timeline/Values.h"

namespace glintro::testing {
namespace {

std::vector<EventSample> clicksAt(const std::vector<Seconds>& times) {
    std::vector<EventSample> clicks;
    for (const Seconds time : times) clicks.push_back(sample(time, 0.5, 0.5));
    return clicks;
}

TEST(AutoZoom, ZoomsAroundClicks) {
    const double none = std::numeric_limits<double>::quiet_NaN();
    const double infinite = std::numeric_limits<double>::infinity();
    const struct {
        std::string name;
        std::vector<Seconds> clicks;
        Seconds duration;
        double level;
        std::vector<ZoomSegment> zooms;
    } rows[] = {
        {"no clicks", {}, 60, 2, {}},
        {"no finite clicks", {none, infinite, -infinite}, 60, 2, {}},
        {"recording of a second", {0.5}, 1.0, 2, {}},
        {"recording just longer", {0.5}, 1.0001, 2, {zoom(0, 1.0001)}},
        {"duration that is no number", {0.5}, none, 2, {}},
        {"one click", {10}, 60, 2, {zoom(9, 11.8)}},
        {"at the start", {0.2}, 60, 2, {zoom(0, 2.4)}},
        {"at the end", {59.5}, 60, 2, {zoom(57.6, 60)}},
        {"exactly a gap apart, merged all the same", {10, 12.6}, 60, 2, {zoom(9, 14.4)}},
        {"two groups that meet", {10, 13}, 60, 2, {zoom(9, 14.8)}},
        {"two groups apart", {13.1, 10}, 60, 2, {zoom(9, 11.8), zoom(12.1, 14.9)}},
        {"busy group", {10, 12.5, 15, 17.5}, 60, 2.5, {zoom(9, 19.3, 2.3)}},
        {"busy group at its floor", {10, 11, 12, 13}, 60, 1.6, {zoom(9, 14.8, 1.5)}},
        {"busy group below its floor", {10, 11, 12, 13}, 60, 1.2, {zoom(9, 14.8, 1.5)}},
        {"busy group merged into a calm one", {5, 8, 9, 10, 11}, 60, 2.5, {zoom(4, 12.8, 2.3)}},
    };
    for (const auto& row : rows) {
        const auto zooms = AutoZoom::segments(clicksAt(row.clicks), row.duration, row.level);
        ASSERT_EQ(zooms.size(), row.zooms.size()) << row.name;
        for (std::size_t i = 0; i < zooms.size(); ++i) {
            EXPECT_DOUBLE_EQ(zooms[i].start, row.zooms[i].start) << row.name;
            EXPECT_DOUBLE_EQ(zooms[i].end, row.zooms[i].end) << row.name;
            EXPECT_DOUBLE_EQ(zooms[i].scale, row.zooms[i].scale) << row.name;
        }
    }
}

TEST(AutoZoom, OnlyTheTimeOfAClickCounts) {
    EventSample empty;
    empty.count = 0;
    EventSample timeOnly = sample(10, 0, 0);
    timeOnly.count = 1;
    EXPECT_TRUE(AutoZoom::segments({empty}, 60, 2).empty());
    EXPECT_EQ(AutoZoom::segments({empty, timeOnly}, 60, 2).size(), 1U);
}

RC_GTEST_PROP(AutoZoom, ZoomsAscendInsideTheRecordingAndHoldEveryClick, ()) {
    const auto times = anyTimes(Temper::tame);
    const auto zooms = AutoZoom::segments(clicksAt(times), 20, 2);
    for (std::size_t i = 0; i < zooms.size(); ++i) {
        RC_ASSERT(zooms[i].start >= 0 && zooms[i].end <= 20);
        RC_ASSERT(zooms[i].end - zooms[i].start >= 2.4 - 1e-9);
        if (i > 0) RC_ASSERT(zooms[i].start > zooms[i - 1].end + 0.25);
    }
    for (const Seconds click : times) {
        RC_ASSERT(std::ranges::any_of(
            zooms, [click](const ZoomSegment& zoom) { return zoom.start <= click && click <= zoom.end; }));
    }
}

} // namespace
} // namespace glintro::testing
