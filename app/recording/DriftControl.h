#pragma once

#include <vector>

#include "core/base/Geometry.h"

namespace glintro {

// Measures how fast a sound device's clock runs against the host clock, and tells the speed that corrects it.
// Single stamps are off by several milliseconds, so the median of a second's stamps counts. The correction is
// at most 0.2 %, too little to be heard; errors below a millisecond are ignored.
class DriftControl {
  public:
    // A block of `duration` was stamped `error` seconds later than where it is being placed.
    void observe(Seconds error, Seconds duration);
    // How fast the device's samples are to be read now: input samples for each output sample.
    double speed() const { return 1 / (1 + proportional_ + integral_); }
    // The sound was moved to its place by other means: the error is 0 again; the clock's speed stays known.
    void errorWasCorrected();

  private:
    void correct(Seconds error, Seconds duration);

    std::vector<Seconds> errors_;
    Seconds observed_ = 0;
    double proportional_ = 0;
    double integral_ = 0; // how much slower than the host clock the device's runs
};

} // namespace glintro
