#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "core/base/Failure.h"
#include "core/export/GifFrame.h"
#include "core/export/GifFrameDiff.h"
#include "core/export/GifPalette.h"
#include "core/export/GifRunFitter.h"

namespace glintro {

// Turns the finished pictures of a reel, in order, into frames of a GIF of few colours. What did not change
// keeps the colours shown, so that still areas do not flicker whatever palette the changed ones get; a
// palette is kept as long as it fits what has to be drawn. One thread at a time.
class GifQuantizer {
  public:
    explicit GifQuantizer(PixelSize canvas) : canvas_(canvas), diff_(canvas) {}

    // `picture` is rgb444 and of the canvas's size.
    [[nodiscard]] Result<GifFrame> quantize(const Picture& picture);

  private:
    // A pixel to be drawn.
    struct Drawing {
        GifPixel pixel;
        GifTarget target;
    };

    [[nodiscard]] Result<void> choosePalette();
    double misfit(std::span<const GifColour> pixels);
    GifTarget targetAt(GifPixel pixel);
    // Fills drawings_; pixels whose colour is on show already are left out where they may be kept.
    void planDrawings(bool mayKeep);
    PixelRect drawnArea() const;
    void fillTargets(PixelRect area, std::uint8_t unchanged);
    GifFrame draw(std::optional<std::uint8_t> kept);

    PixelSize canvas_;
    GifFrameDiff diff_;
    std::optional<GifPalette> palette_;
    double misfitWhenNew_ = 0;
    std::vector<Drawing> drawings_;
    std::vector<GifTarget> targets_; // of the area drawn, row by row
};

} // namespace glintro
