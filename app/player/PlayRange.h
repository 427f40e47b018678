#pragma once

#include "core/base/Geometry.h"

namespace glintro {

// A part of the reel, in composition time.
struct PlayRange {
    Seconds start = 0;
    Seconds end = 0; // held to the reel's end
    bool operator==(const PlayRange&) const = default;
};

} // namespace glintro
