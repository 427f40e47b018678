#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "core/raster/Plane.h"

namespace glintro {

// A plane in memory of its own that ends with its last sample, so that sanitizers see every read beyond it.
// Rows lie wide apart at odd addresses; what lies between them must survive.
class LoosePlane {
  public:
    static constexpr std::uint8_t kSentinel = 0xA5;

    LoosePlane(int width, int height, int gap = 13)
        : width_(width),
          height_(height),
          stride_(width + gap),
          bytes_(kOffset + static_cast<std::size_t>(stride_) * static_cast<std::size_t>(height - 1)
                     + static_cast<std::size_t>(width),
                 kSentinel) {}

    MutablePlaneView view() { return {bytes_.data() + kOffset, stride_, width_, height_}; }

    void fill(std::uint8_t value) {
        for (int y = 0; y < height_; ++y) std::fill_n(view().row(y), width_, value);
    }

    // Noise, mostly full black and white, where filters overshoot.
    void randomise(unsigned seed) {
        std::mt19937 random(seed);
        for (int y = 0; y < height_; ++y) {
            for (int x = 0; x < width_; ++x) {
                const unsigned bits = static_cast<unsigned>(random());
                view().row(y)[x] =
                    static_cast<std::uint8_t>(bits % 3 == 0 ? bits >> 8 : (bits & 64 ? 255 : 0));
            }
        }
    }

    bool surroundingsIntact() const {
        for (std::size_t i = 0; i < bytes_.size(); ++i) {
            const bool inside =
                i >= kOffset
                && (i - kOffset) % static_cast<std::size_t>(stride_) < static_cast<std::size_t>(width_);
            if (!inside && bytes_[i] != kSentinel) return false;
        }
        return true;
    }

  private:
    static constexpr std::size_t kOffset = 3;
    int width_;
    int height_;
    std::ptrdiff_t stride_;
    std::vector<std::uint8_t> bytes_;
};

} // namespace glintro
