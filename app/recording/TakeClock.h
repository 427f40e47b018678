#pragma once

#include <optional>

#include "core/base/Geometry.h"
#include "core/timeline/PauseClock.h"

namespace glintro {

// The times of one take.
//
//   stamp          as a stream's sample carries it: host time, unless the stream runs on a clock of its own
//   hostTime       the one clock of everything recorded
//   shiftedTime    host time with the pauses before it cut out
//   recordedTime   shifted time since the first picture: the time in the movies
//
// Used by one thread at a time.
class TakeClock {
  public:
    void pause(Seconds hostTime) { pauses_.pause(hostTime); }
    void resume(Seconds hostTime) { pauses_.resume(hostTime); }
    const PauseClock& pauses() const { return pauses_; }

    // Call once, with the first picture that is outside a pause, which came at host time `now`.
    void begin(Seconds stamp, Seconds now);
    bool hasBegun() const { return hasBegun_; }

    // Of a picture; absent inside a pause. After begin().
    std::optional<Seconds> recordedTime(Seconds stamp) const;
    bool isInPause(Seconds stamp) const { return pauses_.isInPause(stamp); }

    // When the first picture was shown; both 0 before begin(). A stamp more than a second away from `now` is
    // not on the host clock, and `now` counts in its place.
    Seconds firstHostTime() const { return firstHostTime_; }
    Seconds firstShiftedTime() const { return firstShiftedTime_; } // recorded time 0

    // The recorded time at which a take ends that is stopped at host time `now` after its last picture: that
    // picture is held until then when it is younger than two seconds.
    Seconds endTime(Seconds lastRecordedTime, Seconds now) const;

  private:
    PauseClock pauses_;
    bool hasBegun_ = false;
    Seconds firstShiftedStamp_ = 0;
    Seconds firstHostTime_ = 0;
    Seconds firstShiftedTime_ = 0;
};

} // namespace glintro
