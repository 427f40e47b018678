#pragma once

#include <cmath>

namespace glintro {

// A strict weak order of all doubles, which sorting needs: what is not a number comes last.
inline bool ascending(double a, double b) {
    return a < b || (std::isnan(b) && !std::isnan(a));
}

} // namespace glintro
