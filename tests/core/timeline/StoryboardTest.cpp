#include <array>
#include <functional>
#include <limits>
#include <string>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "core/timeline/KeptRange.h"
#include "core/timeline/Storyboard.h"
#include "tests/core/timeline/Generators.h"
#include "tests/core/timeline/Values.h"

namespace glintro::testing {
namespace {

constexpr Seconds kDuration = 20;

// "w0-4 z4-8x2 c8-9 w9-20@2": kinds, times, scales and rates.
std::string rowOf(const ProjectSettings& settings) {
    std::string row;
    for (const Shot& shot : Storyboard::shots(settings, kDuration)) {
        row +=
            fmt::format("{}{}{}-{}", row.empty() ? "" : " ", storedText(shot.kind)[0], shot.start, shot.end);
        if (shot.scale != 1) row += fmt::format("x{}", shot.scale);
        if (shot.rate != 1) row += fmt::format("@{}", shot.rate);
    }
    return row;
}

Shot shotAt(const ProjectSettings& settings, Seconds time) {
    return *Storyboard::shot(time, Storyboard::shots(settings, kDuration));
}

using Action = std::function<void(ProjectSettings&)>;

Action cutAt(Seconds time) {
    return [=](ProjectSettings& settings) { Storyboard::cut(settings, shotAt(settings, time)); };
}

Action restoreAt(Seconds time) {
    return [=](ProjectSettings& settings) { Storyboard::restore(settings, shotAt(settings, time)); };
}

Action zoomAt(Seconds time, double scale) {
    return [=](ProjectSettings& settings) { Storyboard::setZoom(settings, shotAt(settings, time), scale); };
}

Action speedAt(Seconds time, double rate) {
    return [=](ProjectSettings& settings) { Storyboard::setSpeed(settings, shotAt(settings, time), rate); };
}

Action splitAt(Seconds time, bool expected = true) {
    return
        [=](ProjectSettings& settings) { EXPECT_EQ(Storyboard::split(settings, time, kDuration), expected); };
}

Action joinAt(Seconds time, bool expected = true) {
    return [=](ProjectSettings& settings) {
        EXPECT_EQ(Storyboard::joinWithNext(settings, shotAt(settings, time), kDuration), expected);
    };
}

Action move(Seconds from, Seconds to, Seconds expected) {
    return [=](ProjectSettings& settings) {
        EXPECT_EQ(Storyboard::moveBoundary(settings, from, to, kDuration), expected);
    };
}

TEST(Storyboard, EditsGiveTheWantedRow) {
    const Edits zoomed{.zooms = {zoom(4, 8)}};
    const Edits cutOut{.cuts = {cut(4, 8)}};
    const struct {
        std::string name;
        Edits before;
        Action edit;
        std::string row;
    } rows[] = {
        {"cut", zoomed, cutAt(5), "w0-4 c4-8x2 w8-20"},
        {"cut of neighbours is one cut",
         {.zooms = {zoom(4, 8)}, .cuts = {cut(8, 20)}},
         cutAt(5),
         "w0-4 c4-8x2 c8-20"},
        {"restore", cutOut, restoreAt(5), "w0-20"},
        {"restore of a part",
         {.zooms = {zoom(5, 6)}, .cuts = {cut(4, 8)}},
         restoreAt(5.5),
         "w0-4 c4-5 z5-6x2 c6-8 w8-20"},
        {"zoom a wide shot", {.splits = {4, 8}}, zoomAt(5, 1.02), "w0-4 z4-8x1.02 w8-20"},
        {"zoom to 1.01 is wide", zoomed, zoomAt(5, 1.01), "w0-20"},
        {"zoom a zoom again", zoomed, zoomAt(5, 3), "w0-4 z4-8x3 w8-20"},
        {"zoom a part of a zoom",
         {.zooms = {zoom(4, 8)}, .splits = {5, 6}},
         zoomAt(5.5, 3),
         "w0-4 z4-5x2 z5-6x3 z6-8x2 w8-20"},
        {"zoom alike next to a zoom",
         {.zooms = {zoom(4, 8)}, .speeds = {speed(8, 10)}},
         zoomAt(9, 2),
         "w0-4 z4-8x2 z8-10x2@2 w10-20"},
        {"speed", zoomed, speedAt(5, 4), "w0-4 z4-8x2@4 w8-20"},
        {"speed of 1.0005 is none", {.speeds = {speed(4, 8)}}, speedAt(5, 1.0005), "w0-20"},
        {"split", {}, splitAt(7), "w0-7 w7-20"},
        {"split of a zoom", zoomed, splitAt(6), "w0-4 z4-6x2 z6-8x2 w8-20"},
        {"split too near an edge", zoomed, splitAt(4.29, false), "w0-4 z4-8x2 w8-20"},
        {"split just far enough", zoomed, splitAt(0.3), "w0-0.3 w0.3-4 z4-8x2 w8-20"},
        {"split outside", zoomed, splitAt(21, false), "w0-4 z4-8x2 w8-20"},
        {"join over a split", {.splits = {7}}, joinAt(5), "w0-20"},
        {"join a zoom with a wide shot", zoomed, joinAt(5), "w0-4 z4-20x2"},
        {"join a wide shot with a zoom", zoomed, joinAt(1), "w0-20"},
        {"join a cut with what follows", cutOut, joinAt(5), "w0-4 c4-20"},
        {"join a fast shot with a slow one", {.speeds = {speed(4, 8)}}, joinAt(5), "w0-4 w4-20@2"},
        {"join the last shot", zoomed, joinAt(15, false), "w0-4 z4-8x2 w8-20"},
        {"drag an edge", zoomed, move(8, 10, 10), "w0-4 z4-10x2 w10-20"},
        {"drag from nearby", zoomed, move(8.04, 10, 10), "w0-4 z4-10x2 w10-20"},
        {"drag past the neighbour", zoomed, move(8, 1, 4.3), "w0-4 z4-4.3x2 w4.3-20"},
        {"drag where no edge is", zoomed, move(6, 7, 6), "w0-4 z4-8x2 w8-20"},
        {"drag without room", {.zooms = {zoom(4, 4.5)}}, move(4.5, 9, 9), "w0-4 z4-9x2 w9-20"},
        {"drag between close neighbours",
         {.splits = {4, 4.2, 4.4}},
         move(4.2, 4.3, 4.2),
         "w0-4 w4-4.2 w4.2-4.4 w4.4-20"},
        {"drag a split", {.splits = {7}}, move(7, 9, 9), "w0-9 w9-20"},
        {"trim the start", zoomed, move(0, 1.5, 1.5), "w1.5-4 z4-8x2 w8-20"},
        {"trim the end", zoomed, move(20, 15, 15), "w0-4 z4-8x2 w8-15"},
    };
    for (const auto& row : rows) {
        ProjectSettings settings = row.before;
        SCOPED_TRACE(row.name);
        row.edit(settings);
        EXPECT_EQ(rowOf(settings), row.row);
    }
}

TEST(Storyboard, AnEndTrimNearTheEndIsNone) {
    const struct {
        Seconds to;
        std::optional<Seconds> trimEnd;
    } rows[] = {{19.98, 19.98}, {19.995, {}}, {25, {}}};
    for (const auto& row : rows) {
        ProjectSettings settings = Edits{.trimEnd = 15};
        Storyboard::moveBoundary(settings, 15, row.to, kDuration);
        EXPECT_EQ(settings.trimEnd, row.trimEnd) << row.to;
    }
}

TEST(Storyboard, AZoomKeepsItsIdentityWhereItsShotIsAllOfIt) {
    const ProjectSettings before = Edits{.zooms = {zoom(4, 8)}};
    ProjectSettings scaled = before;
    zoomAt(5, 3)(scaled);
    EXPECT_EQ(scaled.zooms.front().id, before.zooms.front().id);

    ProjectSettings parted = before;
    splitAt(6)(parted);
    ASSERT_EQ(parted.zooms.size(), 2U);
    EXPECT_EQ(parted.zooms[0].id, before.zooms[0].id);
    EXPECT_NE(parted.zooms[1].id, before.zooms[0].id);
}

using Ranges = std::vector<std::pair<Seconds, Seconds>>;

template <class Segment>
Ranges ranges(const std::vector<Segment>& segments) {
    Ranges pairs;
    for (const Segment& segment : segments) pairs.emplace_back(segment.start, segment.end);
    return pairs;
}

TEST(Storyboard, NormalizeSortsDropsAndMerges) {
    const struct {
        std::string name;
        Edits edits;
        Ranges zooms;
    } rows[] = {
        {"sorts", {.zooms = {zoom(5, 6), zoom(1, 2)}}, {{1, 2}, {5, 6}}},
        {"drops short and reversed ones", {.zooms = {zoom(1, 1.04), zoom(5, 4), zoom(7, 8)}}, {{7, 8}}},
        {"merges what touches", {.zooms = {zoom(1, 2), zoom(2.04, 3), zoom(3, 4)}}, {{1, 4}}},
        {"unless a split lies between",
         {.zooms = {zoom(1, 2), zoom(2, 3)}, .splits = {2.04}},
         {{1, 2}, {2, 3}}},
        {"unless they differ", {.zooms = {zoom(1, 2), zoom(2, 3, 2.5)}}, {{1, 2}, {2, 3}}},
        {"leaves a gap", {.zooms = {zoom(1, 2), zoom(2.06, 3)}}, {{1, 2}, {2.06, 3}}},
        {"leaves an overlap", {.zooms = {zoom(1, 4), zoom(2, 3)}}, {{1, 4}, {2, 3}}},
    };
    for (const auto& row : rows) {
        ProjectSettings settings = row.edits;
        Storyboard::normalize(settings);
        EXPECT_EQ(ranges(settings.zooms), row.zooms) << row.name;
    }
}

template <class Segment>
void expectLasting(const std::vector<Segment>& segments) {
    for (const Segment& segment : segments) RC_ASSERT(segment.start < segment.end);
}

void expectConsistent(const ProjectSettings& settings) {
    expectLasting(settings.zooms);
    expectLasting(settings.cuts);
    expectLasting(settings.speeds);
    const KeptRange kept = keptRange(settings, kDuration);
    Seconds reached = kept.start;
    int number = 0;
    for (const Shot& shot : Storyboard::shots(settings, kDuration)) {
        RC_ASSERT(shot.number == ++number);
        RC_ASSERT(shot.start == reached);
        RC_ASSERT(shot.start < shot.end);
        reached = shot.end;
    }
    if (number > 0) RC_ASSERT(reached == kept.end);
}

void editAtRandom(ProjectSettings& settings) {
    const Seconds at = anyTime(Temper::wild);
    const Seconds to = anyTime(Temper::wild);
    const double by = anyFactor(Temper::wild);
    const std::vector<Shot> shots = Storyboard::shots(settings, kDuration);
    const Shot* shot = Storyboard::shot(at, shots);
    const int choice = anyIndex(7);
    if (choice == 0) Storyboard::split(settings, at, kDuration);
    if (choice == 1) Storyboard::moveBoundary(settings, at, to, kDuration);
    if (!shot) return;
    if (choice == 2) Storyboard::cut(settings, *shot);
    if (choice == 3) Storyboard::restore(settings, *shot);
    if (choice == 4) Storyboard::setZoom(settings, *shot, by);
    if (choice == 5) Storyboard::setSpeed(settings, *shot, by);
    if (choice == 6) Storyboard::joinWithNext(settings, *shot, kDuration);
}

RC_GTEST_PROP(Storyboard, AnySequenceOfEditsLeavesLastingSegmentsAndATiledRow, ()) {
    ProjectSettings edited = anySettings(anyIndex(2) == 0 ? Temper::tame : Temper::wild);
    Storyboard::normalize(edited);
    expectConsistent(edited);
    constexpr std::array kEdits{1, 3, 20};
    const int edits = kEdits.at(static_cast<std::size_t>(anyIndex(3)));
    for (int i = 0; i < edits; ++i) {
        editAtRandom(edited);
        expectConsistent(edited);
    }
}

} // namespace
} // namespace glintro::testing
