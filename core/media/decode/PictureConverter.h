#pragma once

#include <string>

#include "core/media/FFmpegHandles.h"
#include "core/raster/Picture.h"

namespace glintro {

// How a stored picture is turned for showing: first mirrored at its main diagonal, then flipped.
struct Orientation {
    bool transposed = false;
    bool flippedHorizontally = false;
    bool flippedVertically = false;
    bool operator==(const Orientation&) const = default;
};

// From the stream's display matrix, to the nearest quarter turn.
Orientation orientationOf(const AVStream& stream);
// The stored size with square pixels, upright. The height is kept, as pixel aspects are widths.
PixelSize naturalSizeOf(PixelSize stored, AVRational pixelAspect, Orientation orientation);

// Brings decoded frames to the one form that the rest of the program knows: 8-bit BT.709 limited-range 4:2:0
// with left-sited chroma, upright and in square pixels. A frame that has this form is handed on without a
// copy.
class PictureConverter {
  public:
    PictureConverter(PixelSize naturalSize, Orientation orientation)
        : size_(naturalSize), orientation_(orientation) {}

    // The picture keeps the frame or its converted copy alive. Frames may change their format from one to the
    // next.
    Result<PicturePtr> convert(const AVFrame& frame);

  private:
    bool isCommon(const AVFrame& frame) const;
    Result<void> prepareGraph(const AVFrame& frame);
    std::string graphFor(const AVFrame& frame) const;

    PixelSize size_;
    Orientation orientation_;
    FilterGraphPtr graph_;
    AVFilterContext* source_ = nullptr;
    AVFilterContext* sink_ = nullptr;
    std::string description_;
};

} // namespace glintro
