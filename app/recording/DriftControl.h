#pragma once

#include <vector>

#include "core/base/Geometry.h"

namespace glintro {

// Follows a sound device's clock against the host clock. Single stamps are off by several milliseconds, so
// only the median of a second's stamps counts, and is answered by a speed so little off 1 that nobody hears
// it. A clock that runs true is left alone.
class DriftControl {
  public:
    // A block of `duration` was stamped `error` seconds later than where it is being placed.
    void observe(Seconds error, Seconds duration);
    // How fast the device's samples are to be read now: input samples for each output sample.
    double speed() const { return 1 / (1 + proportional_ + integral_); }
    // The placement was corrected by other means; what is known of the clock stays.
    void placeAnew();

  private:
    void correct(Seconds error, Seconds duration);

    std::vector<Seconds> errors_;
    Seconds observed_ = 0;
    double proportional_ = 0;
    double integral_ = 0; // how much slower than the host clock the device's runs
};

} // namespace glintro
