#pragma once

#include <array>
#include <functional>
#include <utility>
#include <vector>

#include "platform/Camera.h"
#include "tests/support/DeviceWatch.h"

namespace glintro::test {

// Everything a camera handed over.
class Watching : public DeviceWatch {
  public:
    std::vector<CameraFrame> frames; // the last `kept` of them, so that buffers come back
    std::size_t count = 0;

    explicit Watching(std::size_t kept = 1000) : kept_(kept) {}

    std::function<void(CameraFrame)> seen() {
        return [this](CameraFrame frame) {
            note([&] {
                if (frames.size() == kept_) frames.erase(frames.begin());
                frames.push_back(std::move(frame));
                ++count;
            });
        };
    }

    bool untilSeen(std::size_t wanted) {
        return until([&] { return count >= wanted; });
    }

  private:
    std::size_t kept_;
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
