#include "core/timeline/TimeMap.h"

#include <algorithm>

#include "core/timeline/Ascending.h"
#include "core/timeline/CoverageSweep.h"
#include "core/timeline/KeptRange.h"

namespace glintro {
namespace {

constexpr Seconds kShortestRange = 0.02; // a range must be longer
constexpr Seconds kShortestPiece = 0.01; // so must a piece
constexpr double kLowestRate = 0.25;
constexpr std::size_t kMostRepeats = 1'000'000;

// What the cuts leave of the range. Since they are applied by ascending start, whatever ends at a cut's start
// is out of reach of all later ones: only the last range is still open to them.
std::vector<KeptRange> withoutCuts(KeptRange open, std::vector<CutSegment> cuts) {
    std::ranges::stable_sort(cuts, ascending, &CutSegment::start);
    std::vector<KeptRange> kept;
    for (const CutSegment& cut : cuts) {
        if (cut.end <= open.start || open.end <= cut.start) continue;
        if (open.start < cut.start) kept.push_back({open.start, cut.start});
        if (!(cut.end < open.end)) return kept;
        open.start = cut.end;
    }
    kept.push_back(open);
    return kept;
}

std::vector<Seconds> sortedEdges(const std::vector<SpeedSegment>& speeds) {
    std::vector<Seconds> edges;
    edges.reserve(2 * speeds.size());
    for (const SpeedSegment& speed : speeds) {
        edges.push_back(speed.start);
        edges.push_back(speed.end);
    }
    std::ranges::sort(edges, ascending);
    edges.erase(std::ranges::unique(edges).begin(), edges.end());
    return edges;
}

// Divides each range where a speed-up begins or ends inside it. Rates and composition times are not yet set.
// Ranges meet an edge more than once only where they overlap.
std::vector<TimeMap::Piece> divided(const std::vector<KeptRange>& ranges, const std::vector<Seconds>& edges) {
    std::vector<TimeMap::Piece> pieces;
    const auto add = [&](Seconds start, Seconds end) {
        if (end - start > kShortestPiece) pieces.push_back({.src0 = start, .src1 = end});
    };
    std::size_t left = edges.size() + kMostRepeats;
    for (const KeptRange& range : ranges) {
        if (!(range.length() > kShortestRange)) continue;
        Seconds start = range.start;
        auto edge = std::ranges::upper_bound(edges, start, ascending);
        for (; edge != edges.end() && *edge < range.end; ++edge) {
            if (left-- == 0) return pieces;
            add(start, *edge);
            start = *edge;
        }
        add(start, range.end);
    }
    return pieces;
}

void setRates(std::vector<TimeMap::Piece>& pieces, const std::vector<SpeedSegment>& speeds) {
    struct Middle {
        Seconds time;
        std::size_t piece;
    };
    std::vector<Middle> middles;
    middles.reserve(pieces.size());
    for (std::size_t i = 0; i < pieces.size(); ++i)
        middles.push_back({(pieces[i].src0 + pieces[i].src1) * 0.5, i});
    // Already in order unless a reversed cut let ranges overlap.
    if (!std::ranges::is_sorted(middles, ascending, &Middle::time))
        std::ranges::sort(middles, ascending, &Middle::time);
    CoverageSweep sweep(speeds, Edges::covered, EarlierInList{});
    for (const Middle& middle : middles) {
        const SpeedSegment* speed = sweep.covering(middle.time);
        const double rate = speed ? speed->rate : 1.0;
        pieces[middle.piece].rate = rate > kLowestRate ? rate : kLowestRate;
    }
}

} // namespace

TimeMap::TimeMap(const ProjectSettings& settings, Seconds duration)
    : pieces_(
        divided(withoutCuts(keptRange(settings, duration), settings.cuts), sortedEdges(settings.speeds))) {
    setRates(pieces_, settings.speeds);
    reach_.reserve(pieces_.size());
    Seconds compositionTime = 0;
    for (Piece& piece : pieces_) {
        piece.comp0 = compositionTime;
        compositionTime += piece.compDuration();
        reach_.push_back(reach_.empty() ? piece.src1 : std::max(reach_.back(), piece.src1));
    }
}

Seconds TimeMap::compDuration() const {
    return pieces_.empty() ? 0 : pieces_.back().comp0 + pieces_.back().compDuration();
}

Seconds TimeMap::composition(Seconds fromSource) const {
    const auto reached = std::ranges::lower_bound(reach_, fromSource, ascending);
    if (reached == reach_.end()) return compDuration();
    const Piece& piece = pieces_[static_cast<std::size_t>(reached - reach_.begin())];
    return fromSource < piece.src0 ? piece.comp0 : piece.comp0 + (fromSource - piece.src0) / piece.rate;
}

Seconds TimeMap::source(Seconds fromComposition) const {
    if (pieces_.empty()) return fromComposition;
    if (fromComposition <= pieces_.front().comp0) return pieces_.front().src0;
    const auto showing = std::ranges::partition_point(
        pieces_, [&](const Piece& piece) { return !(piece.comp0 + piece.compDuration() > fromComposition); });
    if (showing == pieces_.end()) return pieces_.back().src1;
    return showing->src0 + showing->rate * (fromComposition - showing->comp0);
}

} // namespace glintro
