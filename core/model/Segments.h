#pragma once

#include <concepts>

#include "core/base/Geometry.h"
#include "core/base/Uuid.h"

namespace glintro {

// Ranges of a recording, in source seconds. Stored segments have start < end; the storyboard gives meaning to
// their order and to overlaps. A default segment draws a new identity, which asks the system: read into
// segments that were made with `.id = Uuid()`.
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
