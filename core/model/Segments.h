#pragma once

#include <concepts>

#include "core/base/Geometry.h"
#include "core/base/Uuid.h"

namespace glintro {

// Stretches of a recording, in source seconds. Kept segments have start < end; their order in a list and what
// overlaps mean is the storyboard's business.
struct ZoomSegment {
    Uuid id = Uuid::random();
    Seconds start = 0;
    Seconds end = 0;
    double scale = 2.0;
    bool operator==(const ZoomSegment&) const = default;
};

struct CutSegment {
    Uuid id = Uuid::random();
    Seconds start = 0;
    Seconds end = 0;
    bool operator==(const CutSegment&) const = default;
};

struct SpeedSegment {
    Uuid id = Uuid::random();
    Seconds start = 0;
    Seconds end = 0;
    double rate = 2.0;
    bool operator==(const SpeedSegment&) const = default;
};

template <class T>
concept TimeSegment = std::copyable<T> && requires(T segment) {
    { segment.id } -> std::same_as<Uuid&>;
    { segment.start } -> std::same_as<Seconds&>;
    { segment.end } -> std::same_as<Seconds&>;
};

} // namespace glintro
