#pragma once

#include <string>

#include "core/media/FFmpegHandles.h"
#include "core/raster/Picture.h"

namespace glintro {

// How a stored picture is turned upright: first transposed, that is mirrored at its main diagonal, then
// flipped.
struct Orientation {
    bool transposed = false;
    bool flippedHorizontally = false;
    bool flippedVertically = false;
    bool operator==(const Orientation&) const = default;
};

// From the stream's display matrix, to the nearest quarter turn.
Orientation orientationOf(const AVStream& stream);
// The stored size with square pixels, upright. The height is kept: a pixel aspect is a width.
PixelSize naturalSizeOf(PixelSize stored, AVRational pixelAspect, Orientation orientation);

// Brings decoded frames to the one form that the rest of the program knows: 8-bit BT.709 limited-range 4:2:0
// with left-sited chroma, upright and in square pixels. HDR (PQ and HLG) is tone-mapped: diffuse white comes
// to nine tenths of full signal, highlights up to 1000 cd/m² share the rest, and BT.2020 colours become
// BT.709's. A frame that has this form already is not copied. One object per thread.
class PictureConverter {
  public:
    explicit PictureConverter(Orientation orientation) : orientation_(orientation) {}

    // Converts, turns and scales to `size` in one go. The picture keeps the frame or its converted copy
    // alive. Frames may change their format from one to the next.
    [[nodiscard]] Result<PicturePtr> convert(const AVFrame& frame, PixelSize size);
    // Whether the frame has the one form already, and its own size is the natural one.
    bool isCommon(const AVFrame& frame) const;

  private:
    bool isFinished(const AVFrame& described, PixelSize size) const;
    [[nodiscard]] Result<void> prepareGraph(const AVFrame& frame, PixelSize size);
    std::string graphFor(const AVFrame& frame, PixelSize size) const;
    std::string sameShapeGraph(const AVFrame& frame, PixelSize size) const;

    Orientation orientation_;
    FilterGraphPtr graph_;
    AVFilterContext* source_ = nullptr;
    AVFilterContext* sink_ = nullptr;
    std::string description_;
};

} // namespace glintro
