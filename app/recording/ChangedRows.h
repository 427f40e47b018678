#pragma once

#include "platform/RowSet.h"
#include "platform/ScreenStream.h"

namespace glintro {

// Accumulates the damage of frames that were dropped, so that the next frame that is recorded carries it and
// no row of the recorded picture is ever stale. One thread at a time.
class ChangedRows {
  public:
    // Adds the accumulated damage to that of the frame.
    void addTo(ScreenFrame& frame) const;
    // The frame, with the damage that addTo() gave it, was dropped: its rows are damaged from now on. Only
    // its size and changed rows are read.
    void accumulate(const ScreenFrame& frame);
    // A frame with all of the damage was recorded.
    void clear() { damage_.clear(); }

  private:
    PixelSize size_; // of the frame that was dropped last
    RowSet damage_;
};

} // namespace glintro
