#pragma once

#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>

namespace glintro {

// The integer that a number of a JSON text stands for: 3.0 counts as 3; `nullopt` for 3.5 and for what does
// not fit.
inline std::optional<std::int64_t> exactInteger(double number) {
    constexpr double twoTo63 = 9223372036854775808.0;
    if (number != std::trunc(number) || number < -twoTo63 || number >= twoTo63) return std::nullopt;
    return static_cast<std::int64_t>(number);
}

inline std::optional<std::int64_t> exactInteger(std::int64_t number) {
    return number;
}

inline std::optional<std::int64_t> exactInteger(std::uint64_t number) {
    return std::in_range<std::int64_t>(number) ? std::optional(static_cast<std::int64_t>(number))
                                               : std::nullopt;
}

} // namespace glintro
