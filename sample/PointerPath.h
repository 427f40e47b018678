#pragma once

#include <vector>

#include "core/model/RecordingEvents.h"
#include "sample/AppLayout.h"
#include "sample/Random.h"

namespace glintro::sample {

// Where a hand moves the pointer: runs with a slightly bent way and the bell-shaped speed of human reaching
// (minimum jerk: Flash and Hogan 1985), small corrections at their end, rests between them. Positions are in
// points.
class PointerPath {
  public:
    explicit PointerPath(Point start) : rest_(start) {}

    // Reaches `target`, whose extent is `size` points, from where the path ends; begins at `start`, not
    // before the end of the path. Returns when it arrives. The time follows Fitts' law.
    Seconds reach(Point target, double size, Seconds start, Random& random);

    // A steady, deliberate run without corrections, as in dragging or tracing a curve.
    Seconds glide(Point target, Seconds start, Seconds duration, Random& random);

    Point at(Seconds time) const;
    bool moves(Seconds time) const;
    Point end() const { return moves_.empty() ? rest_ : moves_.back().to; }

  private:
    struct Move {
        Seconds start;
        Seconds duration;
        Point from;
        Point to;
        double bend;   // sideways, a fraction of the distance
        double tremor; // points
        double phase;
    };
    void add(Point target, Seconds start, Seconds duration, double bend, Random& random);
    const Move* lastBefore(Seconds time) const;

    Point rest_;
    std::vector<Move> moves_;
};

// What an event logger would have stored: whole pixels, about 60 observations a second and twice as many in
// motion.
std::vector<EventSample> observe(const PointerPath& path, const AppLayout& layout, PixelSize pixels,
                                 Seconds duration, Random random);

// The whole pixel of a point as fractions of the recording.
EventSample observation(Seconds time, Point at, const AppLayout& layout, PixelSize pixels);

} // namespace glintro::sample
