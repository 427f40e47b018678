#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "core/raster/Plane.h"

namespace glintro {

// Which source coordinate a destination sample shows: source = origin + index * step, where sample k of the
// source lies at coordinate k. step < 1 enlarges, step > 1 reduces; step must be positive.
struct AxisMap {
    double origin = 0;
    double step = 1;
    bool operator==(const AxisMap&) const = default;
};

// The filter of one axis: for every destination sample the first source sample it reads and `taps` weights.
// Catmull-Rom (Keys 1981, a = -0.5) when enlarging; when reducing, the kernel is widened by `step`, so that
// it still covers whole source samples. Weights are fixed point, 1.0 = 1 << 14, and sum to exactly that for
// every destination sample. Samples outside the source repeat its edge: their weights are folded onto it.
class FilterBank {
  public:
    FilterBank() = default;
    FilterBank(AxisMap map, int destinationLength, int sourceLength);

    int length() const { return static_cast<int>(first_.size()); }
    int taps() const { return taps_; }
    int first(int index) const { return first_[static_cast<std::size_t>(index)]; }
    const std::int16_t* weights(int index) const {
        return weights_.data() + static_cast<std::size_t>(index) * static_cast<std::size_t>(taps_);
    }

  private:
    int taps_ = 0;
    std::vector<std::int32_t> first_;
    std::vector<std::int16_t> weights_;
};

// Resamples whole planes. Keeps scratch memory and the last filters; one object per thread.
class Resampler {
  public:
    // Fills all of `destination`, whose sample (0, 0) is destination index 0 of both maps. The result is the
    // same on every machine, and within one level of exact arithmetic. `source` and `destination` must not
    // overlap and must not be empty.
    void resample(PlaneView source, AxisMap horizontal, AxisMap vertical, MutablePlaneView destination);

  private:
    struct Entry {
        AxisMap map;
        int sourceLength = 0;
        std::uint64_t lastCall = 0;
        FilterBank bank;
    };

    const FilterBank& filters(AxisMap map, int destinationLength, int sourceLength);
    PlaneView widened(PlaneView source);

    // Both axes of luma and chroma, for a screen and a camera picture, and as much again so that what stands
    // still survives a moving window.
    std::array<Entry, 16> cache_;
    std::uint64_t calls_ = 0;
    BasicPlane<std::int16_t> scratch_;
    Plane widened_;
};

} // namespace glintro
