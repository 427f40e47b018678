#include "app/pictures/Moments.h"

#include <algorithm>

namespace glintro {
namespace {

constexpr double kKeysPerSecond = 4;
constexpr double kLastKey = 2e9;   // project files may hold any duration
constexpr Seconds kIntoShot = 0.8; // where a zoom that begins with the shot has come to rest
constexpr Seconds kBeforeEnd = 0.05;
constexpr double kStripMoments = 12;
constexpr Seconds kLeastStep = 1;
constexpr Seconds kRounding = 1e-9;

} // namespace

int momentKey(Seconds sourceTime) {
    return static_cast<int>(std::min(std::max(0.0, sourceTime * kKeysPerSecond), kLastKey));
}

Seconds cardMoment(const Shot& shot) {
    const Seconds middle = (shot.start + shot.end) / 2;
    return std::min(std::max(middle, shot.start + kIntoShot), shot.end - kBeforeEnd);
}

std::vector<Seconds> stripMoments(Seconds duration) {
    const Seconds step = std::max(duration / kStripMoments, kLeastStep);
    std::vector<Seconds> moments;
    for (int i = 0; i * step < duration - kRounding; ++i) moments.push_back(i * step);
    return moments;
}

} // namespace glintro
