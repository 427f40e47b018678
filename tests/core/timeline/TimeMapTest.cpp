#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "core/timeline/KeptRange.h"
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

// Whatever the edits: pieces lie one after the other in the movie, show no cut, and have the rate of the
// first speed-up that covers them.
RC_GTEST_PROP(TimeMap, PiecesTileTheMovieAndShowNoCut, ()) {
    const ProjectSettings settings = anySettings(Temper::tame);
    const KeptRange kept = keptRange(settings, 20);
    const TimeMap map(settings, 20);
    Seconds clock = 0;
    for (const TimeMap::Piece& piece : map.pieces()) {
        const auto holds = [middle = (piece.src0 + piece.src1) / 2](const auto& segment) {
            return segment.start <= middle && middle <= segment.end;
        };
        RC_ASSERT(piece.src1 - piece.src0 > 0.01);
        RC_ASSERT(kept.start <= piece.src0 && piece.src1 <= kept.end);
        RC_ASSERT(std::ranges::none_of(settings.cuts, holds));
        const auto speed = std::ranges::find_if(settings.speeds, holds);
        RC_ASSERT(piece.rate == (speed == settings.speeds.end() ? 1 : std::max(speed->rate, 0.25)));
        RC_ASSERT(piece.comp0 == clock);
        clock += piece.compDuration();
    }
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
