#include "core/plan/PointerPaths.h"

#include <algorithm>

namespace glintro {
namespace {

constexpr double kViewOmega = 4.0;

Seconds trackDuration(const RecordingEvents& events) {
    if (!events.cursor.empty() && events.cursor.back().count > 0)
        return std::max(events.cursor.back().sourceTime() + 1.0, events.duration);
    return std::max(events.duration, 1.0);
}

std::shared_ptr<const CursorTrack> track(const RecordingEvents& events, double omega) {
    auto made = CursorTrack::create(events.cursor, trackDuration(events), omega);
    return made ? std::make_shared<const CursorTrack>(*std::move(made)) : nullptr;
}

std::shared_ptr<const CursorTrack> pointerTrack(const RecordingEvents& events, double smoothing) {
    return track(events, 40.0 - 32.0 * smoothing);
}

} // namespace

PointerPaths PointerPaths::of(const RecordingEvents& events, double smoothing) {
    return {pointerTrack(events, smoothing), track(events, kViewOmega),
            std::make_shared<const ClickTrack>(events.clicks)};
}

PointerPaths PointerPaths::smoothed(const RecordingEvents& events, double smoothing) const {
    return {pointerTrack(events, smoothing), view, clicks};
}

} // namespace glintro
