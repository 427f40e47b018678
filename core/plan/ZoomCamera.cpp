#include "core/plan/ZoomCamera.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

namespace glintro {
namespace {

constexpr Seconds kActiveMargin = 0.01;
constexpr Seconds kNeighbourDistance = 0.05;
constexpr Seconds kRamp = 0.7;
constexpr Seconds kGlide = 0.35;
// The part of the zoomed view, around its middle, that the real pointer never leaves.
constexpr double kPointerRoom = 0.62;

double clamped(double value, double low, double high) {
    return std::min(std::max(value, low), high);
}

// Finds, for a time, the first segment in list order (other than the asking one) with an edge near it.
class EdgeIndex {
  public:
    EdgeIndex(const std::vector<ZoomSegment>& zooms, Seconds ZoomSegment::*edge)
        : zooms_(zooms), edge_(edge) {
        order_.resize(zooms.size());
        std::iota(order_.begin(), order_.end(), std::size_t{0});
        std::ranges::stable_sort(order_, {}, [&](std::size_t i) { return zooms_[i].*edge_; });
    }

    const ZoomSegment* firstNear(Seconds time, const Uuid& asking) const {
        auto candidate = std::ranges::lower_bound(order_, time - 2 * kNeighbourDistance, {},
                                                  [&](std::size_t i) { return zooms_[i].*edge_; });
        std::size_t found = zooms_.size();
        for (; candidate != order_.end() && zooms_[*candidate].*edge_ <= time + 2 * kNeighbourDistance;
             ++candidate) {
            const ZoomSegment& other = zooms_[*candidate];
            if (std::abs(other.*edge_ - time) < kNeighbourDistance && other.id != asking)
                found = std::min(found, *candidate);
        }
        return found < zooms_.size() ? &zooms_[found] : nullptr;
    }

  private:
    const std::vector<ZoomSegment>& zooms_;
    Seconds ZoomSegment::*edge_;
    std::vector<std::size_t> order_;
};

} // namespace

double ease(double progress) {
    const double p = clamped(progress, 0, 1);
    return p * p * p * (p * (6 * p - 15) + 10);
}

ZoomCamera::ZoomCamera(const ProjectSettings& settings, PointerPaths paths)
    : followsPointer_(settings.followCursor), paths_(std::move(paths)) {
    linkNeighbours(settings.zooms);
    indexByStart();
    for (Shot& shot : shots_) shot.centre = centreOf(shot);
}

void ZoomCamera::linkNeighbours(const std::vector<ZoomSegment>& zooms) {
    const EdgeIndex byEnd(zooms, &ZoomSegment::end);
    const EdgeIndex byStart(zooms, &ZoomSegment::start);
    shots_.reserve(zooms.size());
    for (const ZoomSegment& zoom : zooms) {
        Shot shot{zoom.start, zoom.end, zoom.scale, {}, {}, {}};
        if (const ZoomSegment* previous = byEnd.firstNear(zoom.start, zoom.id))
            shot.previousScale = previous->scale;
        if (const ZoomSegment* next = byStart.firstNear(zoom.end, zoom.id)) shot.nextScale = next->scale;
        shots_.push_back(shot);
    }
}

void ZoomCamera::indexByStart() {
    byStart_.resize(shots_.size());
    std::iota(byStart_.begin(), byStart_.end(), std::size_t{0});
    std::ranges::stable_sort(byStart_, {}, [&](std::size_t i) { return shots_[i].start; });
    Seconds latest = -std::numeric_limits<double>::infinity();
    for (const std::size_t i : byStart_) latestEndSoFar_.push_back(latest = std::max(latest, shots_[i].end));
}

// Calls visit(list index) for every zoom that may be active around a time, in no particular order.
template <class Visit>
void ZoomCamera::visitAround(Seconds sourceTime, Visit visit) const {
    const auto after = std::ranges::upper_bound(byStart_, sourceTime + 2 * kActiveMargin, {},
                                                [&](std::size_t i) { return shots_[i].start; });
    for (auto i = static_cast<std::size_t>(after - byStart_.begin()); i-- > 0;) {
        if (latestEndSoFar_[i] < sourceTime - 2 * kActiveMargin) break;
        visit(byStart_[i]);
    }
}

double ZoomCamera::candidate(const Shot& shot, Seconds t) const {
    const double ramp = std::min((shot.end - shot.start) * 0.5, kRamp);
    double envelope = 1;
    if (!shot.previousScale && t < shot.start + ramp)
        envelope = ease((t - shot.start) / ramp);
    else if (!shot.nextScale && t > shot.end - ramp)
        envelope = ease((shot.end - t) / ramp);

    const double glide = std::min((shot.end - shot.start) * 0.5, kGlide);
    double level = shot.scale;
    if (shot.previousScale && t < shot.start + glide)
        level = *shot.previousScale
                + (shot.scale - *shot.previousScale) * ease((t - (shot.start - glide)) / (2 * glide));
    if (shot.nextScale && t > shot.end - glide)
        level = shot.scale + (*shot.nextScale - shot.scale) * ease((t - (shot.end - glide)) / (2 * glide));
    return 1 + envelope * (level - 1);
}

ZoomState ZoomCamera::zoom(Seconds t) const {
    double scale = 1;
    visitAround(t, [&](std::size_t i) {
        const Shot& shot = shots_[i];
        if (shot.start - kActiveMargin < t && shot.end + kActiveMargin > t)
            scale = std::max(scale, candidate(shot, t));
    });
    if (const ZoomState wide{.scale = scale}; !wide.isZoomed()) return wide;
    const Point point = followsPointer_ && paths_.view ? following(t, scale) : staticCenter(t);
    const double half = 0.5 / scale;
    return {scale, {clamped(point.x, half, 1 - half), clamped(point.y, half, 1 - half)}};
}

// The slow path, kept close enough to the pointer that the pointer stays in the middle of the view.
Point ZoomCamera::following(Seconds t, double scale) const {
    Point point = paths_.view->position(t);
    if (paths_.pointer) {
        const double room = (0.5 / scale) * kPointerRoom;
        const Point pointer = paths_.pointer->position(t);
        point.x = clamped(point.x, pointer.x - room, pointer.x + room);
        point.y = clamped(point.y, pointer.y - room, pointer.y + room);
    }
    return point;
}

Point ZoomCamera::staticCenter(Seconds t) const {
    std::size_t first = shots_.size();
    visitAround(t, [&](std::size_t i) {
        if (shots_[i].start - kActiveMargin <= t && t <= shots_[i].end + kActiveMargin)
            first = std::min(first, i);
    });
    return first < shots_.size() ? shots_[first].centre : Point{0.5, 0.5};
}

Point ZoomCamera::centreOf(const Shot& shot) const {
    const auto clicks =
        shot.start <= shot.end ? paths_.clicks->between(shot.start, shot.end) : std::span<const Click>{};
    if (!clicks.empty()) {
        Point sum;
        for (const Click& click : clicks) {
            sum.x += click.position.x;
            sum.y += click.position.y;
        }
        const auto count = static_cast<double>(clicks.size());
        return {sum.x / count, sum.y / count};
    }
    return paths_.pointer ? paths_.pointer->position((shot.start + shot.end) * 0.5) : Point{0.5, 0.5};
}

} // namespace glintro
