#include "tests/core/timeline/LiteralTimeline.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "core/timeline/Storyboard.h"

namespace glintro::testing {
namespace {

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

template <class Segment>
const Segment* firstOver(Seconds time, const std::vector<Segment>& segments) {
    for (const Segment& segment : segments) {
        if (segment.start < time && time < segment.end) return &segment;
    }
    return nullptr;
}

const ZoomSegment* largestOver(Seconds time, const std::vector<ZoomSegment>& zooms) {
    const ZoomSegment* best = nullptr;
    for (const ZoomSegment& zoom : zooms) {
        if (zoom.start < time && time < zoom.end && (!best || zoom.scale > best->scale)) best = &zoom;
    }
    return best;
}

std::vector<Seconds> literalBoundaries(const ProjectSettings& settings, Seconds low, Seconds high) {
    std::vector<Seconds> candidates;
    const auto offer = [&](Seconds time) {
        if (std::isfinite(time) && low + 0.05 < time && time < high - 0.05) candidates.push_back(time);
    };
    const auto offerEdges = [&](const auto& segments) {
        for (const auto& segment : segments) {
            offer(segment.start);
            offer(segment.end);
        }
    };
    for (const Seconds split : settings.splits) offer(split);
    offerEdges(settings.zooms);
    offerEdges(settings.cuts);
    offerEdges(settings.speeds);
    std::sort(candidates.begin(), candidates.end());
    std::vector<Seconds> boundaries{low};
    for (const Seconds time : candidates) {
        if (std::abs(time - boundaries.back()) >= 0.05) boundaries.push_back(time);
    }
    boundaries.push_back(high);
    return boundaries;
}

Shot literalShot(const ProjectSettings& settings, Seconds a, Seconds b) {
    const Seconds middle = (a + b) * 0.5;
    const ZoomSegment* zoom = largestOver(middle, settings.zooms);
    const CutSegment* cut = firstOver(middle, settings.cuts);
    const SpeedSegment* speed = firstOver(middle, settings.speeds);
    Shot shot{.start = a, .end = b};
    shot.kind = cut ? Shot::Kind::cut : zoom ? Shot::Kind::zoom : Shot::Kind::wide;
    if (zoom) shot.zoomID = zoom->id;
    if (zoom) shot.scale = zoom->scale;
    if (cut) shot.cutID = cut->id;
    if (speed) shot.speedID = speed->id;
    if (speed) shot.rate = speed->rate < 0.25 ? 0.25 : speed->rate;
    return shot;
}

Point literalTarget(const std::vector<EventSample>& samples, std::size_t k, Seconds time) {
    const Point from = samples[k].position();
    if (k + 1 >= samples.size() || samples[k].sourceTime() > time) return from;
    const Seconds t0 = samples[k].sourceTime();
    const Seconds t1 = samples[k + 1].sourceTime();
    const double fraction = t1 <= t0 ? 0 : (time - t0) / (t1 - t0);
    const Point to = samples[k + 1].position();
    return {from.x + (to.x - from.x) * fraction, from.y + (to.y - from.y) * fraction};
}

} // namespace

std::vector<TimeMap::Piece> literalPieces(const ProjectSettings& settings, Seconds duration) {
    std::vector<Range> ranges{kept(settings, duration)};
    std::vector<CutSegment> cuts = settings.cuts;
    std::stable_sort(cuts.begin(), cuts.end(), [](auto& a, auto& b) { return a.start < b.start; });
    for (const CutSegment& cut : cuts) ranges = without(cut, ranges);

    std::vector<TimeMap::Piece> pieces;
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

Seconds literalComposition(const std::vector<TimeMap::Piece>& pieces, Seconds sourceTime) {
    if (pieces.empty()) return 0;
    for (const TimeMap::Piece& piece : pieces) {
        if (sourceTime < piece.src0) return piece.comp0;
        if (sourceTime <= piece.src1) return piece.comp0 + (sourceTime - piece.src0) / piece.rate;
    }
    return pieces.back().comp0 + (pieces.back().src1 - pieces.back().src0) / pieces.back().rate;
}

Seconds literalSource(const std::vector<TimeMap::Piece>& pieces, Seconds compositionTime) {
    if (pieces.empty()) return compositionTime;
    if (compositionTime <= pieces.front().comp0) return pieces.front().src0;
    for (const TimeMap::Piece& piece : pieces) {
        if (piece.comp0 + (piece.src1 - piece.src0) / piece.rate > compositionTime)
            return piece.src0 + piece.rate * (compositionTime - piece.comp0);
    }
    return pieces.back().src1;
}

std::vector<Shot> literalShots(const ProjectSettings& settings, Seconds duration) {
    const auto [low, high] = kept(settings, duration);
    if (high - low <= 0.01) return {};
    const std::vector<Seconds> boundaries = literalBoundaries(settings, low, high);
    std::vector<Shot> shots;
    for (std::size_t i = 0; i + 1 < boundaries.size(); ++i) {
        const Shot shot = literalShot(settings, boundaries[i], boundaries[i + 1]);
        const bool goesOn = !shots.empty() && shots.back().kind == shot.kind
                            && shots.back().zoomID == shot.zoomID && shots.back().cutID == shot.cutID
                            && shots.back().speedID == shot.speedID
                            && !Storyboard::isSplit(shot.start, settings);
        if (goesOn) {
            shots.back().end = shot.end;
        } else {
            shots.push_back(shot);
        }
    }
    int number = 0;
    for (Shot& shot : shots) shot.number = ++number;
    return shots;
}

LiteralTrack literalTrack(std::vector<EventSample> samples, Seconds duration, double omega) {
    std::stable_sort(samples.begin(), samples.end(),
                     [](auto& a, auto& b) { return a.numbers[0] < b.numbers[0]; });
    LiteralTrack track;
    Point p = samples.front().position();
    Point v;
    std::size_t k = 0;
    const double dt = 1.0 / 480;
    for (int i = 0; i < static_cast<int>(duration * 120) + 2; ++i) {
        for (int j = 0; j < 4; ++j) {
            const Seconds time = i / 120.0 + j / 480.0;
            while (k + 1 < samples.size() && samples[k + 1].sourceTime() <= time) ++k;
            const Point g = literalTarget(samples, k, time);
            if (omega > 0) {
                v.x += (omega * omega * (g.x - p.x) - 2 * omega * v.x) * dt;
                v.y += (omega * omega * (g.y - p.y) - 2 * omega * v.y) * dt;
                p = {p.x + v.x * dt, p.y + v.y * dt};
            } else {
                p = g;
            }
        }
        track.xs.push_back(p.x);
        track.ys.push_back(p.y);
    }
    return track;
}

} // namespace glintro::testing
