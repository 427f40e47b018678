#pragma once

#include "platform/RowSet.h"
#include "platform/ScreenStream.h"

namespace glintro {

// Remembers which rows changed in frames that were left out, so that the next frame that is used carries them
// too and no row of the recorded picture is ever stale. One thread at a time.
class ChangedRows {
  public:
    // Adds the rows owed to those of the frame.
    void carry(ScreenFrame& frame) const;
    // The frame, with what it carries, was left out: its rows are owed from now on.
    void owe(const ScreenFrame& frame);
    void settle() { owed_.clear(); }

  private:
    PixelSize size_;
    RowSet owed_;
};

} // namespace glintro
