#include "platform/linux/camera/CameraMode.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <tuple>

namespace glintro {
namespace {

constexpr PixelSize kLargest{1920, 1080};
constexpr double kFps = 30;
constexpr double kFluent = 24;
constexpr std::int64_t kLargestRaw = std::int64_t{640} * 480;

std::int64_t area(const CameraMode& mode) {
    return std::int64_t{mode.size.width} * mode.size.height;
}

// Compared in the order of importance, larger is better.
auto merits(const CameraMode& mode) {
    const bool fits = mode.size.width <= kLargest.width && mode.size.height <= kLargest.height;
    const double fps = mode.fps > 0 ? mode.fps : kFps;
    const bool isRaw = mode.packing == CameraMode::Packing::raw;
    const bool packedAsItShould = isRaw == (area(mode) <= kLargestRaw);
    return std::tuple(fits, fps >= kFluent, fits ? area(mode) : -area(mode), std::min(fps, kFps),
                      -std::abs(fps - kFps), packedAsItShould);
}

} // namespace

std::optional<CameraMode> bestCameraMode(std::span<const CameraMode> modes) {
    if (modes.empty()) return std::nullopt;
    return *std::ranges::max_element(modes, {}, merits);
}

} // namespace glintro
