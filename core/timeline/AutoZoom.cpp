#include "core/timeline/AutoZoom.h"

#include <algorithm>
#include <cmath>

namespace glintro {
namespace {

constexpr Seconds kGroupingGap = 2.6;
constexpr Seconds kLeadIn = 1.0;
constexpr Seconds kLeadOut = 1.8;
constexpr Seconds kMinimumLength = 2.4;
constexpr Seconds kMergeSlack = 0.25;
constexpr int kBusyGroupSize = 4;
constexpr double kBusyReduction = 0.2;
constexpr double kBusyFloor = 1.5;
constexpr Seconds kShortestRecording = 1.0;

struct ClickGroup {
    Seconds first = 0;
    Seconds last = 0;
    int count = 0;
};

std::vector<Seconds> sortedTimes(const std::vector<EventSample>& clicks) {
    std::vector<Seconds> times;
    times.reserve(clicks.size());
    for (const EventSample& click : clicks) {
        if (click.count > 0 && std::isfinite(click.sourceTime())) times.push_back(click.sourceTime());
    }
    std::ranges::sort(times);
    return times;
}

std::vector<ClickGroup> grouped(const std::vector<Seconds>& times) {
    std::vector<ClickGroup> groups;
    for (const Seconds time : times) {
        if (groups.empty() || !(time - groups.back().last < kGroupingGap)) {
            groups.push_back({time, time, 1});
        } else {
            groups.back().last = time;
            ++groups.back().count;
        }
    }
    return groups;
}

ZoomSegment zoomAround(const ClickGroup& group, Seconds duration, double level) {
    Seconds start = std::max(group.first - kLeadIn, 0.0);
    Seconds end = std::min(group.last + kLeadOut, duration);
    if (end - start < kMinimumLength) {
        // Grows forward, and at the recording's end back again.
        end = std::min(start + kMinimumLength, duration);
        start = std::max(end - kMinimumLength, 0.0);
    }
    const double scale = group.count < kBusyGroupSize ? level : std::max(level - kBusyReduction, kBusyFloor);
    return {.start = start, .end = end, .scale = scale};
}

} // namespace

std::vector<ZoomSegment> AutoZoom::segments(const std::vector<EventSample>& clicks, Seconds duration,
                                            double level) {
    std::vector<ZoomSegment> zooms;
    if (!(duration > kShortestRecording)) return zooms;
    for (const ClickGroup& group : grouped(sortedTimes(clicks))) {
        const ZoomSegment zoom = zoomAround(group, duration, level);
        if (!zooms.empty() && zoom.start <= zooms.back().end + kMergeSlack) {
            zooms.back().end = zoom.end;
            zooms.back().scale = std::min(zooms.back().scale, zoom.scale);
        } else {
            zooms.push_back(zoom);
        }
    }
    return zooms;
}

void AutoZoom::keepIdentities(std::vector<ZoomSegment>& zooms, const std::vector<ZoomSegment>& old) {
    auto from = old.begin();
    for (ZoomSegment& zoom : zooms) {
        from =
            std::find_if(from, old.end(), [&](const ZoomSegment& each) { return each.start >= zoom.start; });
        if (from == old.end()) return;
        if (from->start == zoom.start && from->end == zoom.end && from->scale == zoom.scale)
            zoom.id = from->id;
    }
}

} // namespace glintro
