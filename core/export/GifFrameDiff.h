#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "core/export/GifPalette.h"
#include "core/raster/Picture.h"

namespace glintro {

// A pixel of the canvas: its column and row, and its number when all are counted row by row.
struct GifPixel {
    std::uint16_t x;
    std::uint16_t y;
    std::uint32_t position;
};

// What a GIF shows so far, and where the next picture differs from it so much that it must be drawn again.
// One thread at a time.
class GifFrameDiff {
  public:
    explicit GifFrameDiff(PixelSize canvas);

    // Accepts the next picture, rgb444 and of the canvas's size. Afterwards changed() holds, in ascending
    // order, the pixels to draw: all of them for the first picture. Later a pixel is kept where it hardly
    // differs from the picture it was drawn for, or where the colour shown is near enough, so that neither
    // noise nor a new palette makes still areas flicker.
    void compare(const Picture& picture);

    std::span<const GifPixel> changed() const { return changed_; }
    GifColour wanted(std::uint32_t position) const { return wanted_[position]; }
    GifColour shown(std::uint32_t position) const { return shown_[position]; }
    // The largest squared distance of a pixel of the picture from its neighbours left, right, above and
    // below.
    int contrast(GifPixel pixel) const;

    // The GIF shows `colour` there from now on, for the picture compared last.
    void draw(std::uint32_t position, GifColour colour) {
        drawn_[position] = wanted_[position];
        shown_[position] = colour;
    }

  private:
    bool staysAsItIs(std::uint32_t position) const;

    PixelSize canvas_;
    bool first_ = true;
    std::vector<GifColour> wanted_; // the picture compared last
    std::vector<GifColour> drawn_;  // the pictures that pixels were drawn for
    std::vector<GifColour> shown_;
    std::vector<GifPixel> changed_;
};

} // namespace glintro
