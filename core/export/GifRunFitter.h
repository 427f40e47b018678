#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "core/export/GifPalette.h"

namespace glintro {

// What may be written for one pixel.
struct GifTarget {
    GifColour colour;
    // The squared distance up to which any colour of the palette may stand for it.
    std::int32_t tolerance = 0;
    // What is written where nothing else is cheaper; always allowed. The only way to allow the index that
    // keeps a pixel as it was.
    std::uint8_t index = 0;
};

// Chooses among the indices that are allowed for every pixel so that LZW needs few codes: it builds the
// dictionary that the encoder will build, and follows those of its strings which fit the pixels, the nearest
// in colour among the longest.
class GifRunFitter {
  public:
    // `kept` is the index that keeps pixels as they were, if any does.
    GifRunFitter(std::span<const GifColour> palette, std::optional<std::uint8_t> kept);

    // One index for each target, in the order the encoder gets them.
    std::vector<std::uint8_t> fit(std::span<const GifTarget> targets);

  private:
    using Code = std::uint16_t;
    struct Entry {
        Code prefix;       // the string without its last index
        Code firstLonger;  // strings that continue this one, 0 for none
        Code nextSibling;  // the next of those
        std::uint8_t last; // the last index
    };
    struct Match {
        Code code;
        std::int32_t distance; // the sum of squared distances
    };
    static constexpr std::size_t kCodes = 4096;
    static constexpr Code kRoots = 256;

    void clear();
    void learn(Code prefix, std::uint8_t last);
    bool allows(const GifTarget& target, std::uint8_t index, std::int32_t& distance) const;
    // Extends all matches by one pixel; false, and the matches as they were, when none can be.
    bool extend(const GifTarget& target);
    std::size_t matchFrom(std::span<const GifTarget> targets, std::uint8_t first);

    std::array<GifColour, 256> palette_{};
    std::optional<std::uint8_t> kept_;
    std::array<Entry, kCodes> entries_;
    std::size_t count_ = 0;
    std::vector<Match> matches_;
    std::vector<Match> longer_;
};

} // namespace glintro
