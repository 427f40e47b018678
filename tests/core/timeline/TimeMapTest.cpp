#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "core/timeline/TimeMap.h"
#include "tests/core/timeline/Generators.h"
#include "tests/core/timeline/Values.h"

namespace glintro::testing {
namespace {

using Pieces = std::vector<TimeMap::Piece>;

TEST(TimeMap, PiecesOfEditsOfTenSeconds) {
    const struct {
        std::string name;
        Edits edits;
        Pieces pieces;
    } rows[] = {
        {"untouched", {}, {{0, 10, 0, 1}}},
        {"start trim before the recording", {.trimStart = -3}, {{0, 10, 0, 1}}},
        {"start trim after the recording", {.trimStart = 15}, {}},
        {"end trim before the start trim", {.trimStart = 5, .trimEnd = 4}, {}},
        {"both trims", {.trimStart = 2, .trimEnd = 7}, {{2, 7, 0, 1}}},
        {"cut", {.cuts = {cut(2, 3)}}, {{0, 2, 0, 1}, {3, 10, 2, 1}}},
        {"cut that ends at the kept range's start", {.cuts = {cut(1, 3)}, .trimStart = 3}, {{3, 10, 0, 1}}},
        {"cut over all", {.cuts = {cut(0, 10)}}, {}},
        {"overlapping cuts", {.cuts = {cut(2, 4), cut(3, 5)}}, {{0, 2, 0, 1}, {5, 10, 2, 1}}},
        {"the same the other way round", {.cuts = {cut(3, 5), cut(2, 4)}}, {{0, 2, 0, 1}, {5, 10, 2, 1}}},
        {"reversed cut", {.cuts = {cut(6, 4)}}, {{0, 6, 0, 1}, {4, 10, 6, 1}}},
        {"range too short to keep", {.cuts = {cut(2, 4), cut(4.015, 10)}}, {{0, 2, 0, 1}}},
        {"speed-up", {.speeds = {speed(2, 6)}}, {{0, 2, 0, 1}, {2, 6, 2, 2}, {6, 10, 4, 1}}},
        {"rate below the lowest", {.speeds = {speed(0, 10, 0.1)}}, {{0, 10, 0, 0.25}}},
        {"first of two speed-ups wins", {.speeds = {speed(0, 10, 4), speed(0, 10, 2)}}, {{0, 10, 0, 4}}},
        {"sliver of 5 ms after a cut",
         {.cuts = {cut(0, 2)}, .speeds = {speed(2.005, 10)}},
         {{2.005, 10, 0, 2}}},
    };
    for (const auto& row : rows) EXPECT_EQ(TimeMap(row.edits, 10).pieces(), row.pieces) << row.name;
}

TEST(TimeMap, TimesOutsideWhatIsKept) {
    const TimeMap whole(Edits{}, 10);
    const TimeMap cutOpen(Edits{.cuts = {cut(2, 3)}, .trimStart = 1, .trimEnd = 9}, 10);
    const TimeMap sliver(Edits{.cuts = {cut(0, 2)}, .speeds = {speed(2.005, 10)}}, 10);
    const TimeMap nothing(Edits{}, 0);
    const struct {
        std::string name;
        double actual;
        double expected;
    } rows[] = {
        {"identity inside", whole.composition(4.25), 4.25},
        {"identity back", whole.source(4.25), 4.25},
        {"source time past the end", whole.composition(12), 10},
        {"composition time before the start", whole.source(-1), 0},
        {"composition time past the end", whole.source(11), 10},
        {"trimmed head", cutOpen.composition(0.5), 0},
        {"inside the cut", cutOpen.composition(2.5), 1},
        {"at the cut the later piece shows", cutOpen.source(1), 3},
        {"trimmed tail", cutOpen.composition(9.5), 7},
        {"trimmed end", cutOpen.source(7), 9},
        {"dropped sliver", sliver.composition(2.002), 0},
        {"empty, to composition", nothing.composition(3), 0},
        {"empty, to source", nothing.source(3), 3},
        {"empty, duration", nothing.compDuration(), 0},
    };
    for (const auto& row : rows) EXPECT_EQ(row.actual, row.expected) << row.name;
}

using Range = std::pair<Seconds, Seconds>;

Range kept(const ProjectSettings& settings, Seconds duration) {
    Seconds low = settings.trimStart;
    if (low < 0) low = 0;
    if (low > duration) low = duration;
    Seconds high = settings.trimEnd ? *settings.trimEnd : duration;
    if (high < low) high = low;
    if (high > duration) high = duration;
    return {low, high};
}

std::vector<Range> without(const CutSegment& cut, const std::vector<Range>& ranges) {
    std::vector<Range> rest;
    for (const auto& [a, b] : ranges) {
        if (cut.end <= a || b <= cut.start) {
            rest.emplace_back(a, b);
            continue;
        }
        if (a < cut.start) rest.emplace_back(a, cut.start);
        if (cut.end < b) rest.emplace_back(cut.end, b);
    }
    return rest;
}

double rateAt(Seconds time, const std::vector<SpeedSegment>& speeds) {
    for (const SpeedSegment& speed : speeds) {
        if (speed.start <= time && time <= speed.end) return speed.rate < 0.25 ? 0.25 : speed.rate;
    }
    return 1.0;
}

// The rules as a plain walk over lists, each moment asking every segment: too slow to ship, but short enough
// to be checked by eye. The fast code has to give the same numbers, bit for bit.
Pieces literalPieces(const ProjectSettings& settings, Seconds duration) {
    std::vector<Range> ranges{kept(settings, duration)};
    std::vector<CutSegment> cuts = settings.cuts;
    std::stable_sort(cuts.begin(), cuts.end(), [](auto& a, auto& b) { return a.start < b.start; });
    for (const CutSegment& cut : cuts) ranges = without(cut, ranges);

    Pieces pieces;
    Seconds clock = 0;
    for (const auto& [a, b] : ranges) {
        if (!(b - a > 0.02)) continue;
        std::set<Seconds> points{a, b};
        for (const SpeedSegment& speed : settings.speeds) {
            if (a < speed.start && speed.start < b) points.insert(speed.start);
            if (a < speed.end && speed.end < b) points.insert(speed.end);
        }
        for (auto p = points.begin(), q = std::next(p); q != points.end(); ++p, ++q) {
            if (!(*q - *p > 0.01)) continue;
            const double rate = rateAt((*p + *q) * 0.5, settings.speeds);
            pieces.push_back({*p, *q, clock, rate});
            clock += (*q - *p) / rate;
        }
    }
    return pieces;
}

RC_GTEST_PROP(TimeMap, IsTheLiteralWalk, ()) {
    const ProjectSettings settings = anySettings(anyIndex(2) == 0 ? Temper::tame : Temper::wild);
    const Seconds duration = anyRecordingDuration();
    RC_ASSERT(TimeMap(settings, duration).pieces() == literalPieces(settings, duration));
}

RC_GTEST_PROP(TimeMap, IsInvertible, ()) {
    const TimeMap map(anySettings(Temper::tame), 20);
    Seconds latest = 0;
    for (int step = 0; step <= 100; ++step) {
        const Seconds compositionTime = map.compDuration() * step / 100;
        const Seconds sourceTime = map.source(compositionTime);
        RC_ASSERT(sourceTime >= latest);
        if (!map.pieces().empty()) RC_ASSERT(std::abs(map.composition(sourceTime) - compositionTime) < 1e-9);
        latest = sourceTime;
    }
}

TEST(TimeMap, NumbersThatAreNoneLeaveAMap) {
    const double none = std::numeric_limits<double>::quiet_NaN();
    const double infinite = std::numeric_limits<double>::infinity();
    for (const double bad : {none, infinite, -infinite}) {
        const Edits everywhere{.cuts = {cut(3, 4), cut(bad, 5), cut(bad, bad)},
                               .speeds = {speed(bad, 7), speed(7, bad), speed(1, 2, bad)},
                               .trimStart = bad,
                               .trimEnd = bad};
        EXPECT_TRUE(TimeMap(everywhere, 10).pieces().size() <= 5);
        EXPECT_TRUE(TimeMap(everywhere, bad).pieces().size() <= 5);
        const TimeMap badRate(Edits{.speeds = {speed(0, 10, none)}}, 10);
        EXPECT_EQ(badRate.pieces(), (Pieces{{0, 10, 0, 0.25}}));
        EXPECT_EQ(badRate.composition(none), badRate.compDuration());
    }
}

// Each cut leaves another copy of all before it: four hundred million pieces, or steps too small for any.
TEST(TimeMap, ReversedCutsDoNotMultiplyWithoutBound) {
    for (const Seconds step : {1.0, 0.001}) {
        ProjectSettings settings;
        for (int i = 1; i <= 20'000; ++i) {
            settings.cuts.push_back(cut(i * step, step / 2));
            settings.speeds.push_back(speed((i + 0.25) * step, (i + 0.5) * step));
        }
        EXPECT_LE(TimeMap(settings, 20'001 * step).pieces().size(), 1'100'000U);
    }
}

} // namespace
} // namespace glintro::testing
