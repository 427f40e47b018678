#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/base/Failure.h"
#include "core/export/GifPalette.h"
#include "core/export/GifWriter.h"
#include "core/raster/Picture.h"

namespace glintro {

// Turns the finished pictures of a reel, in order, into frames of a GIF of few colours. A pixel that did not
// change since it was drawn is kept as it is on show, so that still areas stand still whatever palette and
// dithering the changed ones get. One thread at a time.
class GifQuantizer {
  public:
    explicit GifQuantizer(PixelSize canvas);

    // `picture` is rgb444 and of the canvas's size.
    [[nodiscard]] Result<GifFrame> quantize(const Picture& picture);

    // The frame that leaves all as it is.
    GifFrame unchanged() const;

  private:
    void findChanges(const Picture& picture);
    Result<void> choosePalette();
    GifFrame map();

    PixelSize canvas_;
    std::vector<GifColour> wanted_;      // the picture's pixels
    std::vector<GifColour> drawn_;       // what was wanted where a pixel was last drawn
    std::vector<GifColour> shown_;       // what the GIF shows there
    std::vector<std::uint32_t> changed_; // positions to draw, ascending
    std::optional<GifPalette> palette_;
    double paletteError_ = 0;
    bool first_ = true;
};

} // namespace glintro
