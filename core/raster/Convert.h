#pragma once

#include <cstdint>

#include "core/raster/Picture.h"

namespace glintro {

// One colour in the three planes of a layout: R, G, B or Y', Cb, Cr, in 8-bit steps but not rounded.
struct PlaneColour {
    float values[3];
};

// From sRGB components in 0..1. Y'CbCr by the BT.709 matrix (ITU-R BT.709-6, table 3) in limited range.
PlaneColour planeColour(PixelLayout layout, float red, float green, float blue);

// In place: three full-size planes of BT.709 limited-range Y'CbCr become R', G', B', clamped to 0..255. This
// turns a recording upsampled to 4:4:4 into the colours of a display.
void yuvToRgb(MutablePlaneView first, MutablePlaneView second, MutablePlaneView third);

// rgb444 planes to interleaved B, G, R, 255, pixel by pixel. The second form writes into the caller's memory,
// which has the picture's size.
BgraImage toBgra(const Picture& picture);
void toBgra(const Picture& picture, BgraView destination);

// The colours of an interleaved picture as rgb444 planes; alpha is ignored.
PictureBuffer bgraToPlanes(const BgraImage& image);

// Each pixel the mean of factor x factor pixels, all four channels alike; what is left over at the right and
// bottom edges is dropped. `factor` is at least 1 and at most 16, and no side of the image is shorter.
BgraImage boxReduced(const BgraImage& image, int factor);

// B, G, R, A rows (alpha ignored) to 8-bit BT.709 limited-range 4:2:0 with left-sited chroma, chroma filtered
// [1 2 1] / 4 across columns and [1 1] / 2 across rows.
void bgraToYuv420(const std::uint8_t* bgra, std::ptrdiff_t strideBytes, PictureBuffer& destination);

// The same for rows [firstRow, endRow) of the picture, which lie within it; `bgra` is the whole picture's
// first row. Rows that share their chroma with one of these are converted too.
void bgraToYuv420Rows(const std::uint8_t* bgra, std::ptrdiff_t strideBytes, int firstRow, int endRow,
                      PictureBuffer& destination);

// Rounds `count` float samples to 8 bits with a fixed 8 x 8 ordered dither of one step, clamped to 0..255. x
// and y are the position of the first sample in its plane. Samples that are whole numbers stay exactly as
// they are.
void ditherRow(const float* samples, int count, int x, int y, std::uint8_t* destination);

// Averages a full-size mask to the chroma grid of a left-sited 4:2:0 picture, with the filter of
// bgraToYuv420. `mask` sample (0, 0) must lie on an even column and row of the picture; destination is
// rounded up to half size.
void reduceMaskToChroma(PlaneView mask, MutablePlaneView destination);

} // namespace glintro
