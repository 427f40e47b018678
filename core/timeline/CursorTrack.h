#pragma once

#include <optional>
#include <vector>

#include "core/base/Geometry.h"
#include "core/model/RecordingEvents.h"

namespace glintro {

// The recorded pointer as a calm, evenly sampled path: a point pulled towards the recorded positions by a
// critically damped spring. Immutable, so any number of threads may share one; positions are in the samples'
// own units (fractions of the recorded rectangle).
class CursorTrack {
  public:
    static constexpr double kRate = 120;              // stored points per second
    static constexpr Seconds kLongest = 24 * 60 * 60; // where a track ends at the latest

    // `omega` is the spring's angular frequency per second: the larger, the closer the track follows; 0 or
    // less turns smoothing off. Samples may come in any order; those that lack a number or hold one that is
    // not finite are ignored. `nullopt` when no sample is left or `duration` is not above 0. The track
    // covers 0..duration, but at most `kLongest`, so that a bad duration cannot fill the memory. Time and
    // memory grow linearly with the duration (and the samples, when they come in order).
    static std::optional<CursorTrack> create(const std::vector<EventSample>& raw, Seconds duration,
                                             double omega);

    // The smoothed point at a source time; the first or last point outside the track. Constant time.
    Point position(Seconds at) const;

    // Index i holds the position at i / rate seconds; both have the same length, at least 2.
    const std::vector<double>& xs() const { return xs_; }
    const std::vector<double>& ys() const { return ys_; }

  private:
    CursorTrack(const std::vector<EventSample>& samples, Seconds duration, double omega);

    std::vector<double> xs_;
    std::vector<double> ys_;
};

} // namespace glintro
