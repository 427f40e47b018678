#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>

namespace glintro::sample {

// A repeatable stream of numbers: the same seed gives the same values with every compiler and library, which
// the standard distributions do not promise. SplitMix64 (Steele, Lea, Flood 2014).
class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        state_ += 0x9E3779B97F4A7C15ULL;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }
    double unit() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }                // [0, 1)
    double between(double low, double high) { return low + (high - low) * unit(); }        // [low, high)
    int index(int count) { return static_cast<int>(unit() * static_cast<double>(count)); } // [0, count)
    double normal() { // mean 0, deviation 1
        const double radius = std::sqrt(-2.0 * std::log(1.0 - unit()));
        return radius * std::cos(2.0 * std::numbers::pi * unit());
    }

  private:
    std::uint64_t state_;
};

} // namespace glintro::sample
