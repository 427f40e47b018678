#include "app/recording/ScreenTrack.h"

#include <algorithm>
#include <new>
#include <utility>

namespace glintro {
namespace {

constexpr Seconds kLongestQueue = 0.5;
constexpr std::int64_t kLargestQueue = 96 << 20; // bytes
constexpr std::int64_t kShortestQueue = 3;

} // namespace

std::size_t ScreenTrack::queueLimit(PixelSize size, int fps) {
    const std::int64_t bytes = std::max<std::int64_t>(1, std::int64_t{size.width} * size.height * 3 / 2);
    const std::int64_t byTime = static_cast<std::int64_t>(kLongestQueue * fps);
    return static_cast<std::size_t>(std::max(kShortestQueue, std::min(byTime, kLargestQueue / bytes)));
}

bool ScreenTrack::offer(ScreenFrame frame, Seconds recordedTime) {
    rows_.addTo(frame);
    if (!video_.hasRoom()) {
        rows_.accumulate(frame);
        return false;
    }
    auto picture = converted(frame);
    if (!picture) return false;
    return video_.offer([picture = std::move(*picture)] { return picture; }, recordedTime);
}

std::optional<Picture> ScreenTrack::converted(const ScreenFrame& frame) try {
    Picture picture = picture_.update(frame);
    // The recorded picture has the rows now, whether it is encoded or not.
    rows_.clear();
    return picture;
} catch (const std::bad_alloc&) {
    rows_.accumulate(frame);
    return std::nullopt;
}

void ScreenTrack::drop(ScreenFrame frame) {
    rows_.addTo(frame);
    rows_.accumulate(frame);
}

} // namespace glintro
