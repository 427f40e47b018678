#pragma once

#include <memory>

#include "core/model/RecordingEvents.h"
#include "core/plan/ClickTrack.h"
#include "core/timeline/CursorTrack.h"

namespace glintro {

// What the pointer did in a take, as frames are planned from it. An immutable value; copies share the tracks,
// so that a change of one setting computes only what depends on it. Times are source times, positions
// fractions of the recording.
struct PointerPaths {
    // The calm path that the pointer is drawn on, and the much slower one that a zoomed view follows; null
    // when the take has no pointer samples.
    std::shared_ptr<const CursorTrack> pointer;
    std::shared_ptr<const CursorTrack> view;
    std::shared_ptr<const ClickTrack> clicks; // never null

    // `smoothing` is ProjectSettings::cursorSmoothing. Linear in the number of samples and in the duration:
    // some 20 ms for each hour.
    static PointerPaths of(const RecordingEvents& events, double smoothing);

    // The same take with another smoothing: only `pointer` is computed again. `events` are those of of().
    PointerPaths smoothed(const RecordingEvents& events, double smoothing) const;

    bool operator==(const PointerPaths&) const = default; // shares the same tracks
};

} // namespace glintro
