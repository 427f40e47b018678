#pragma once

#include <chrono>

#include "core/base/Geometry.h"

namespace glintro {

// Seconds of the one clock that everything recorded is stamped with: monotonic, never set, the same in all
// processes of the machine (CLOCK_MONOTONIC on Linux).
inline Seconds hostTime() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<Seconds>(now).count();
}

} // namespace glintro
