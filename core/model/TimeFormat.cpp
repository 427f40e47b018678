#include "core/model/TimeFormat.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include <fmt/format.h>

namespace glintro {
namespace {

// Beyond 2^53 a double has no fraction left to show, and far beyond it does not fit an integer.
constexpr Seconds kLongestShown = 9007199254740992.0;

Seconds sanitised(Seconds seconds) {
    return std::isfinite(seconds) && seconds > 0 ? std::min(seconds, kLongestShown) : 0;
}

std::int64_t wholeSeconds(Seconds seconds) {
    return static_cast<std::int64_t>(seconds);
}

// The first digits after the point, cut off and never rounded up into the next second.
int fractionDigits(Seconds seconds, int scale) {
    const double fraction = seconds - std::trunc(seconds);
    return std::min(static_cast<int>(fraction * scale), scale - 1);
}

} // namespace

std::string formatTime(Seconds seconds, bool tenths) {
    const Seconds shown = sanitised(seconds);
    const auto whole = wholeSeconds(shown);
    const auto text = fmt::format("{}:{:02}", whole / 60, whole % 60);
    return tenths ? fmt::format("{}.{}", text, fractionDigits(shown, 10)) : text;
}

std::string timecode(Seconds seconds) {
    const Seconds shown = sanitised(seconds);
    const auto whole = wholeSeconds(shown);
    if (whole >= 3600) return fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
    return fmt::format("{:02}:{:02}.{:02}", whole / 60, whole % 60, fractionDigits(shown, 100));
}

std::string shortDuration(Seconds seconds) {
    const Seconds shown = sanitised(seconds);
    if (shown < 10) return fmt::format("{:.1f}s", shown);
    if (shown < 60) return fmt::format("{:.0f}s", std::round(shown));
    return formatTime(shown);
}

} // namespace glintro
