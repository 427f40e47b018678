#pragma once

#include <cstddef>
#include <vector>

#include "core/base/Geometry.h"
#include "core/model/ProjectSettings.h"

namespace glintro {

// The piecewise linear map between the recording's clock (source time) and the finished reel's clock
// (composition time): what trims, cuts and speed-ups do to time, in one place.
//
//   source       |--trim--|== piece ==|--cut--|== piece ==|==== piece at rate 2 ====|--trim--|
//   composition           |== piece ==|== piece ==|= piece =|
//
// Built once in O(n log n) and then only read; any number of threads may share it. Every operation is total.
class TimeMap {
  public:
    struct Piece {
        Seconds src0 = 0;  // start on the source clock
        Seconds src1 = 0;  // end on the source clock, more than 0.01 s after src0
        Seconds comp0 = 0; // start on the composition clock: the end of the piece before
        double rate = 1;   // playback rate, at least 0.25
        Seconds compDuration() const { return (src1 - src0) / rate; }
        bool operator==(const Piece&) const = default;
    };

    // `duration` is the recording's. Of overlapping speed-ups the first in the list that holds a piece's
    // middle gives its rate. A cut whose end lies before its start leaves both of its sides, which then
    // overlap on the source clock; so that such cuts cannot multiply pieces without bound, a map ends where
    // they have repeated the edges of speed-ups a million times.
    TimeMap(const ProjectSettings& settings, Seconds duration);

    // In the order of the composition clock, without gaps on it, the first at 0; empty when nothing is kept.
    const std::vector<Piece>& pieces() const { return pieces_; }

    Seconds compDuration() const;

    // Source -> composition time. A time that was left out answers where the recording resumes, a time before
    // or after what is kept the reel's start or end; 0 for an empty map.
    Seconds composition(Seconds fromSource) const;

    // Composition -> source time. Where two pieces meet the later one answers; before and after the reel the
    // first and last kept moment do. An empty map answers the time itself.
    Seconds source(Seconds fromComposition) const;

    bool operator==(const TimeMap&) const = default;

  private:
    std::vector<Piece> pieces_;
    std::vector<Seconds> reach_; // the furthest src1 up to each piece: ascends even where pieces overlap
};

} // namespace glintro
