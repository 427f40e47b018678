#include "app/recording/ChangedRows.h"

namespace glintro {

void ChangedRows::carry(ScreenFrame& frame) const {
    // A frame of another size is changed everywhere by itself.
    if (owed_.isEmpty() || frame.size != size_) return;
    RowSet changed = owed_;
    changed.addAll(frame.changed);
    frame.changed = changed.ranges();
}

void ChangedRows::owe(const ScreenFrame& frame) {
    owed_.clear();
    owed_.addAll(frame.changed);
    size_ = frame.size;
}

} // namespace glintro
