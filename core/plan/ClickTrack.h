#pragma once

#include <span>
#include <vector>

#include "core/base/Geometry.h"
#include "core/model/RecordingEvents.h"

namespace glintro {

struct Click {
    Seconds sourceTime = 0;
    Point position; // fractions of the recording
};

// The complete clicks of a take, in ascending time as recordings hold them; a file that does not is sorted,
// stably.
class ClickTrack {
  public:
    explicit ClickTrack(const std::vector<EventSample>& clicks);

    // All clicks with from <= sourceTime <= to.
    std::span<const Click> between(Seconds from, Seconds to) const;
    // The last click at or before a time, null when there is none.
    const Click* lastBefore(Seconds sourceTime) const;

  private:
    std::vector<Click> clicks_;
};

} // namespace glintro
