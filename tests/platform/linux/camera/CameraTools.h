#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/Camera.h"

namespace glintro::test {

// Everything a camera handed over. The members may be read inside until() and after the stop.
class Watching {
  public:
    std::vector<CameraFrame> frames; // the last `kept` of them, so that buffers come back
    std::size_t count = 0;
    std::vector<Failure> losses;

    explicit Watching(std::size_t kept = 1000) : kept_(kept) {}

    std::function<void(CameraFrame)> seen() {
        return [this](CameraFrame frame) {
            const std::lock_guard lock(mutex_);
            if (frames.size() == kept_) frames.erase(frames.begin());
            frames.push_back(std::move(frame));
            ++count;
            changed_.notify_all();
        };
    }

    std::function<void(Failure)> lost() {
        return [this](Failure failure) {
            const std::lock_guard lock(mutex_);
            losses.push_back(std::move(failure));
            changed_.notify_all();
        };
    }

    bool until(const std::function<bool()>& condition) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(60), condition);
    }
    bool untilSeen(std::size_t wanted) {
        return until([&] { return count >= wanted; });
    }
    bool untilLost() {
        return until([&] { return !losses.empty(); });
    }

  private:
    std::size_t kept_;
    std::mutex mutex_;
    std::condition_variable changed_;
};

// Y', Cb and Cr of the picture where x and y are fractions of its width and height.
inline std::array<int, 3> colourAt(const CameraFrame& frame, double x, double y) {
    std::array<int, 3> colour{};
    for (std::size_t plane = 0; plane < 3; ++plane) {
        const int half = plane == 0 ? 0 : 1;
        const auto column = static_cast<std::ptrdiff_t>(x * ((frame.size.width + half) >> half));
        const auto row = static_cast<std::ptrdiff_t>(y * ((frame.size.height + half) >> half));
        colour[plane] = frame.planes[plane][row * frame.strides[plane] + column];
    }
    return colour;
}

} // namespace glintro::test
