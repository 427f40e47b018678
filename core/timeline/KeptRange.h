#pragma once

#include <algorithm>

#include "core/base/Geometry.h"
#include "core/model/ProjectSettings.h"

namespace glintro {

// What the trims leave of a recording, in source seconds: 0 <= start <= end <= duration.
struct KeptRange {
    Seconds start = 0;
    Seconds end = 0;
    Seconds length() const { return end - start; }
};

inline KeptRange keptRange(const ProjectSettings& settings, Seconds duration) {
    const Seconds start = std::min(std::max(settings.trimStart, 0.0), duration);
    const Seconds end = std::min(std::max(settings.trimEnd.value_or(duration), start), duration);
    return {start, end};
}

} // namespace glintro
