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
// is what turns a 4:4:4 upsampled recording into the colours people see.
void yuvToRgb(MutablePlaneView first, MutablePlaneView second, MutablePlaneView third);

// Drops or repeats nothing: 4:4:4 RGB planes to interleaved B, G, R, 255.
BgraImage toBgra(const Picture& picture);

// B, G, R, A rows (alpha ignored) to 8-bit BT.709 limited-range 4:2:0 with left-sited chroma, chroma filtered
// [1 2 1] / 4 across columns and [1 1] / 2 across rows.
void bgraToYuv420(const std::uint8_t* bgra, std::ptrdiff_t strideBytes, PictureBuffer& destination);

// The same for rows [firstRow, endRow) of the picture, which lie within it; `bgra` is the whole picture's
// first row. A row that shares its chroma with one outside takes that one along.
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
