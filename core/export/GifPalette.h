#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "core/base/Failure.h"

namespace glintro {

struct GifColour {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;

    bool operator==(const GifColour&) const = default;
};

// The square of the distance of two colours in R'G'B', in 8-bit steps.
inline int squaredDistance(GifColour a, GifColour b) {
    const int red = a.red - b.red;
    const int green = a.green - b.green;
    const int blue = a.blue - b.blue;
    return red * red + green * green + blue * blue;
}

// Up to kColours colours, and which of them stand for any other. One index of a GIF's 256 is left free to
// mean "as before". One thread at a time.
class GifPalette {
  public:
    static constexpr int kColours = 255;

    // The colours that represent `pixels` best, by libimagequant; `pixels` must not be empty.
    [[nodiscard]] static Result<GifPalette> forPixels(std::span<const GifColour> pixels);

    // 1 to kColours colours.
    explicit GifPalette(std::vector<GifColour> colours);

    std::span<const GifColour> colours() const { return colours_; }
    std::uint8_t nearest(GifColour colour);
    // For a smooth area: the nearest colour or the one on the other side of `colour`, by the place of the
    // pixel, so that an area of the colour looks like it. The pattern stands still, as it depends on nothing
    // else.
    std::uint8_t dithered(GifColour colour, int x, int y);

  private:
    struct Known {
        GifColour colour;
        std::uint8_t index;
    };
    static constexpr int kKnownBits = 16;

    std::uint8_t search(GifColour colour) const;

    std::vector<GifColour> colours_;
    // The colours by channel, for the search, padded with ones that are never nearest.
    std::array<std::array<float, 256>, 3> channels_;
    std::vector<Known> known_; // answers given before, by a hash of the colour
};

} // namespace glintro
