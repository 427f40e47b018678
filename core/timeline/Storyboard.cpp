#include "core/timeline/Storyboard.h"

#include <algorithm>
#include <cmath>

#include "core/timeline/CoverageSweep.h"
#include "core/timeline/KeptRange.h"
#include "core/timeline/SplitIndex.h"

namespace glintro {
namespace {

constexpr Seconds kShortestKept = 0.01; // what is kept must be longer
constexpr double kLowestRate = 0.25;
constexpr Seconds kLocating = 1e-6;
constexpr Seconds kAtTheEnd = 0.001;

// The larger scale wins, and of equal ones the first in the list.
struct LargerScale {
    const std::vector<ZoomSegment>& zooms;

    bool operator()(std::size_t a, std::size_t b) const {
        const double scaleA = zooms[a].scale;
        const double scaleB = zooms[b].scale;
        if (ascending(scaleB, scaleA)) return true;
        return !ascending(scaleA, scaleB) && a < b;
    }
};

template <TimeSegment Segment>
void appendEdges(std::vector<Seconds>& edges, const std::vector<Segment>& segments) {
    for (const Segment& segment : segments) {
        edges.push_back(segment.start);
        edges.push_back(segment.end);
    }
}

// Where a shot may end: the kept range's ends and, between them, every edge that is not the same moment as
// the one before.
std::vector<Seconds> candidateBoundaries(const ProjectSettings& settings, KeptRange kept) {
    std::vector<Seconds> edges = settings.splits;
    appendEdges(edges, settings.zooms);
    appendEdges(edges, settings.cuts);
    appendEdges(edges, settings.speeds);
    std::erase_if(edges, [kept](Seconds edge) {
        return !(std::isfinite(edge) && kept.start + Storyboard::kSameMoment < edge
                 && edge < kept.end - Storyboard::kSameMoment);
    });
    std::ranges::sort(edges);

    std::vector<Seconds> boundaries{kept.start};
    for (const Seconds edge : edges) {
        if (edge - boundaries.back() >= Storyboard::kSameMoment) boundaries.push_back(edge);
    }
    boundaries.push_back(kept.end);
    return boundaries;
}

// What the segments make of one stretch of the recording.
Shot shotOver(Seconds start, Seconds end, const ZoomSegment* zoom, const CutSegment* cut,
              const SpeedSegment* speed) {
    Shot shot{.start = start, .end = end};
    if (zoom) {
        shot.kind = Shot::Kind::zoom;
        shot.zoomID = zoom->id;
        shot.scale = zoom->scale;
    }
    if (cut) {
        shot.kind = Shot::Kind::cut;
        shot.cutID = cut->id;
    }
    if (speed) {
        shot.speedID = speed->id;
        shot.rate = std::max(kLowestRate, speed->rate);
    }
    return shot;
}

bool looksTheSame(const Shot& a, const Shot& b) {
    return a.kind == b.kind && a.zoomID == b.zoomID && a.cutID == b.cutID && a.speedID == b.speedID;
}

} // namespace

std::vector<Shot> Storyboard::shots(const ProjectSettings& settings, Seconds duration) {
    const KeptRange kept = keptRange(settings, duration);
    if (!(kept.length() > kShortestKept)) return {};
    const std::vector<Seconds> boundaries = candidateBoundaries(settings, kept);
    const SplitIndex splits(settings.splits);
    CoverageSweep zooms(settings.zooms, Edges::uncovered, LargerScale{settings.zooms});
    CoverageSweep cuts(settings.cuts, Edges::uncovered, EarlierInList{});
    CoverageSweep speeds(settings.speeds, Edges::uncovered, EarlierInList{});

    std::vector<Shot> shots;
    for (std::size_t i = 0; i + 1 < boundaries.size(); ++i) {
        const Seconds start = boundaries[i];
        const Seconds end = boundaries[i + 1];
        const Seconds middle = (start + end) * 0.5;
        Shot shot =
            shotOver(start, end, zooms.covering(middle), cuts.covering(middle), speeds.covering(middle));
        if (!shots.empty() && looksTheSame(shots.back(), shot) && !splits.contains(start)) {
            shots.back().end = end;
            continue;
        }
        shot.number = static_cast<int>(shots.size()) + 1;
        shots.push_back(shot);
    }
    return shots;
}

std::vector<Seconds> Storyboard::boundaries(const std::vector<Shot>& shots) {
    std::vector<Seconds> edges;
    edges.reserve(shots.size() + 1);
    for (const Shot& shot : shots) edges.push_back(shot.start);
    if (!shots.empty()) edges.push_back(shots.back().end);
    return edges;
}

const Shot* Storyboard::shot(Seconds at, const std::vector<Shot>& in) {
    const auto found = std::ranges::find_if(
        in, [at](const Shot& shot) { return shot.start - kLocating <= at && at < shot.end - kLocating; });
    if (found != in.end()) return &*found;
    return !in.empty() && std::abs(at - in.back().end) < kAtTheEnd ? &in.back() : nullptr;
}

bool Storyboard::isSplit(Seconds at, const ProjectSettings& settings) {
    return std::ranges::any_of(settings.splits,
                               [at](Seconds split) { return std::abs(split - at) < kSameMoment; });
}

} // namespace glintro
