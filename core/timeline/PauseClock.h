#pragma once

#include <optional>
#include <vector>

#include "core/base/Geometry.h"

namespace glintro {

// The pauses of one take: turns host time stamps into times with the paused stretches cut out.
//
//   host      ------|= pause =|--------|= pause =|-----
//   shifted   ------|--------|-----
struct PauseClock {
    struct Gap {
        Seconds start = 0;          // host time, inside the pause
        std::optional<Seconds> end; // host time, after the pause; absent while it runs
        bool operator==(const Gap&) const = default;
    };

    std::vector<Gap> gaps; // in the order in which they happened; only the last may be open

    bool isPaused() const;
    void pause(Seconds at);  // without effect during a pause
    void resume(Seconds at); // without effect outside one; a stamp before the pause ends it with length 0

    bool isInPause(Seconds time) const;
    Seconds paused(Seconds before) const;               // the sum of all pauses before a host time
    std::optional<Seconds> shifted(Seconds time) const; // absent inside a pause
    bool operator==(const PauseClock&) const = default;
};

} // namespace glintro
