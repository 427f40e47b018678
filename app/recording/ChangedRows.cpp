#include "app/recording/ChangedRows.h"

namespace glintro {

void ChangedRows::addTo(ScreenFrame& frame) const {
    // A frame of another size is changed everywhere by itself.
    if (damage_.isEmpty() || frame.size != size_) return;
    RowSet changed = damage_;
    changed.addAll(frame.changed);
    frame.changed = changed.ranges();
}

void ChangedRows::accumulate(const ScreenFrame& frame) {
    damage_.clear();
    damage_.addAll(frame.changed);
    size_ = frame.size;
}

} // namespace glintro
