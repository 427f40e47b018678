#include <algorithm>
#include <cmath>
#include <utility>

#include "core/timeline/Ascending.h"
#include "core/timeline/SplitIndex.h"
#include "core/timeline/Storyboard.h"

namespace glintro {
namespace {

constexpr double kLargestWideScale = 1.01;
constexpr double kSameFactor = 0.001; // scales and rates closer than this are equal
constexpr Seconds kUntrimmed = 0.01;  // an end trim closer than this to the recording's end is none

bool isSameMoment(Seconds a, Seconds b) {
    return std::abs(a - b) < Storyboard::kSameMoment;
}

bool isSpeedUp(double rate) {
    return std::abs(rate - 1) > kSameFactor;
}

bool isAlike(const ZoomSegment& a, const ZoomSegment& b) {
    return std::abs(a.scale - b.scale) < kSameFactor;
}

bool isAlike(const SpeedSegment& a, const SpeedSegment& b) {
    return std::abs(a.rate - b.rate) < kSameFactor;
}

bool isAlike(const CutSegment&, const CutSegment&) {
    return true;
}

template <TimeSegment Segment>
void sortByStart(std::vector<Segment>& segments) {
    std::ranges::stable_sort(segments, ascending, &Segment::start);
}

template <TimeSegment Segment>
void dropShort(std::vector<Segment>& segments) {
    std::erase_if(segments, [](const Segment& segment) {
        return !(segment.end - segment.start >= Storyboard::kSameMoment);
    });
}

template <TimeSegment Segment>
void mergeTouching(std::vector<Segment>& segments, const SplitIndex& splits) {
    std::vector<Segment> kept;
    kept.reserve(segments.size());
    for (const Segment& segment : segments) {
        if (!kept.empty() && isSameMoment(segment.start, kept.back().end) && isAlike(kept.back(), segment)
            && !splits.contains(segment.start)) {
            kept.back().end = std::max(kept.back().end, segment.end);
        } else {
            kept.push_back(segment);
        }
    }
    segments = std::move(kept);
}

template <TimeSegment Segment>
void tidy(std::vector<Segment>& segments, const SplitIndex& splits) {
    sortByStart(segments);
    dropShort(segments);
    mergeTouching(segments, splits);
}

template <TimeSegment Segment>
void clear(std::vector<Segment>& segments, const Shot& range) {
    segments = Storyboard::subtract(segments, range.start, range.end);
}

template <TimeSegment Segment>
void divide(std::vector<Segment>& segments, Seconds at) {
    segments = Storyboard::splitSegments(segments, at);
    sortByStart(segments); // of overlapping ones, all begin again at the split
}

template <TimeSegment Segment>
void add(std::vector<Segment>& segments, Segment segment) {
    segments.push_back(std::move(segment));
    sortByStart(segments);
}

ZoomSegment* zoomExactlyOver(ProjectSettings& settings, const Shot& shot) {
    if (!shot.zoomID) return nullptr;
    const auto zoom = std::ranges::find(settings.zooms, *shot.zoomID, &ZoomSegment::id);
    if (zoom == settings.zooms.end()) return nullptr;
    return isSameMoment(zoom->start, shot.start) && isSameMoment(zoom->end, shot.end) ? &*zoom : nullptr;
}

// The whole of `range` gets its zoom, rate and cut, whatever was there before.
void treatAlike(ProjectSettings& settings, const Shot& range) {
    clear(settings.zooms, range);
    clear(settings.speeds, range);
    clear(settings.cuts, range);
    if (range.scale > kLargestWideScale)
        settings.zooms.push_back({.start = range.start, .end = range.end, .scale = range.scale});
    if (isSpeedUp(range.rate))
        settings.speeds.push_back({.start = range.start, .end = range.end, .rate = range.rate});
    if (range.kind == Shot::Kind::cut) settings.cuts.push_back({.start = range.start, .end = range.end});
    Storyboard::normalize(settings);
}

template <TimeSegment Segment>
void moveEdges(std::vector<Segment>& segments, Seconds from, Seconds to) {
    for (Segment& segment : segments) {
        if (isSameMoment(segment.start, from)) segment.start = to;
        if (isSameMoment(segment.end, from)) segment.end = to;
    }
    dropShort(segments);
    sortByStart(segments); // an edge may pass segments that the trims hide
}

void moveSplits(std::vector<Seconds>& splits, Seconds from, Seconds to) {
    for (Seconds& split : splits) {
        if (isSameMoment(split, from)) split = to;
    }
    std::ranges::stable_sort(splits, ascending);
    const auto repeated = std::ranges::unique(splits);
    splits.erase(repeated.begin(), repeated.end());
}

} // namespace

bool Storyboard::split(ProjectSettings& settings, Seconds at, Seconds duration) {
    const std::vector<Shot> row = shots(settings, duration);
    const Shot* divided = shot(at, row);
    if (!divided || at - divided->start < kShortestShot || divided->end - at < kShortestShot) return false;
    divide(settings.zooms, at);
    divide(settings.speeds, at);
    divide(settings.cuts, at);
    settings.splits.push_back(at);
    std::ranges::stable_sort(settings.splits, ascending);
    return true;
}

void Storyboard::cut(ProjectSettings& settings, const Shot& shot) {
    clear(settings.cuts, shot);
    add(settings.cuts, {.start = shot.start, .end = shot.end});
    normalize(settings);
}

void Storyboard::restore(ProjectSettings& settings, const Shot& shot) {
    clear(settings.cuts, shot);
    normalize(settings);
}

void Storyboard::setZoom(ProjectSettings& settings, const Shot& shot, double scale) {
    const bool zoomed = scale > kLargestWideScale;
    if (ZoomSegment* zoom = zoomed ? zoomExactlyOver(settings, shot) : nullptr) {
        zoom->scale = scale;
        return;
    }
    clear(settings.zooms, shot);
    if (zoomed) add(settings.zooms, {.start = shot.start, .end = shot.end, .scale = scale});
    normalize(settings);
}

void Storyboard::setSpeed(ProjectSettings& settings, const Shot& shot, double rate) {
    clear(settings.speeds, shot);
    if (isSpeedUp(rate)) add(settings.speeds, {.start = shot.start, .end = shot.end, .rate = rate});
    normalize(settings);
}

bool Storyboard::joinWithNext(ProjectSettings& settings, const Shot& shot, Seconds duration) {
    const auto milliseconds = [](Seconds time) { return std::round(time * 1000); };
    const std::vector<Shot> row = shots(settings, duration);
    const auto first = std::ranges::find(row, milliseconds(shot.start),
                                         [&](const Shot& each) { return milliseconds(each.start); });
    if (first == row.end() || first + 1 == row.end()) return false;
    if (isSplit(first->end, settings)) {
        std::erase_if(settings.splits, [&](Seconds split) { return isSameMoment(split, first->end); });
        normalize(settings); // the parts of a zoom that was split become one again
        return true;
    }
    Shot joined = *first;
    joined.end = (first + 1)->end;
    treatAlike(settings, joined);
    return true;
}

Seconds Storyboard::moveBoundary(ProjectSettings& settings, Seconds from, Seconds to, Seconds duration) {
    const std::vector<Seconds> edges = boundaries(shots(settings, duration));
    const auto edge = std::ranges::find_if(edges, [from](Seconds each) { return isSameMoment(each, from); });
    if (edge == edges.end()) return from;
    const bool isFirst = edge == edges.begin();
    const bool isLast = edge + 1 == edges.end();
    const Seconds lower = isFirst ? 0 : *(edge - 1) + kShortestShot;
    const Seconds upper = isLast ? duration : *(edge + 1) - kShortestShot;
    if (lower > upper) return from;

    const Seconds moved = std::min(std::max(lower, to), upper);
    moveEdges(settings.zooms, *edge, moved);
    moveEdges(settings.cuts, *edge, moved);
    moveEdges(settings.speeds, *edge, moved);
    moveSplits(settings.splits, *edge, moved);
    if (isFirst) settings.trimStart = moved;
    if (isLast) settings.trimEnd = moved >= duration - kUntrimmed ? std::nullopt : std::optional(moved);
    return moved;
}

void Storyboard::normalize(ProjectSettings& settings) {
    const SplitIndex splits(settings.splits);
    tidy(settings.zooms, splits);
    tidy(settings.speeds, splits);
    tidy(settings.cuts, splits);
}

} // namespace glintro
