#pragma once

#include <cstdint>
#include <vector>

#include "sample/AppState.h"
#include "sample/PointerPath.h"

namespace glintro::sample {

// What happens in a take: the pointer's way and the input events, both ascending in time. Busy scenes take
// turns with still stretches; no scene is cut off by the end. The same seed and duration give the same
// script.
struct SampleScript {
    PointerPath path;
    std::vector<InputEvent> inputs;
};

SampleScript writeScript(const AppLayout& layout, Seconds duration, std::uint64_t seed);

} // namespace glintro::sample
