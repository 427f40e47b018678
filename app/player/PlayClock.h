#pragma once

#include "core/base/Geometry.h"

namespace glintro {

// Composition time as a function of host time: it stands, or runs at a rate. A value; host times ascend.
class PlayClock {
  public:
    // Stands at a time from now on.
    void standAt(Seconds compositionTime);
    // Runs from a time, which is reached at `hostTime`. `rate` is positive.
    void runFrom(Seconds compositionTime, Seconds hostTime, double rate);
    // Brings a running clock nearer to what is heard at `hostTime`. Reports of sound jitter by some
    // milliseconds, so a small difference is corrected little by little, by less than has passed since the
    // last report; a large one at once.
    void steer(Seconds heard, Seconds hostTime);

    bool isRunning() const { return isRunning_; }
    double rate() const { return rate_; }
    Seconds at(Seconds hostTime) const;
    // When a composition time is reached; infinity while the clock stands before it.
    Seconds hostTimeOf(Seconds compositionTime) const;

  private:
    bool isRunning_ = false;
    double rate_ = 1;
    Seconds anchor_ = 0; // composition time at anchorHost_
    Seconds anchorHost_ = 0;
};

} // namespace glintro
