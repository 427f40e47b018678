#pragma once

#include <cstdint>

#include "core/raster/Convert.h"

// Kernels on rows of float samples in 8-bit steps (0..255), from which backdrops are painted before
// ditherRow() rounds them. Rows need no alignment, but every row, read or written, must have
// kFloatRowSlack samples after its last one. Results are the same on every machine.
namespace glintro {

inline constexpr int kFloatRowSlack = 16;

// A straight gradient from one colour to another, and over it a round highlight that fades to nothing at its
// radius. Colours are in the planes of a layout: mixing them there is mixing them in R'G'B'.
struct Gradient {
    PlaneColour start;
    PlaneColour end;
    float xStep = 0; // progress from start to end for each pixel to the right and down
    float yStep = 0;
    PlaneColour highlight;
    float strength = 0; // of the highlight at its centre, 0..1
    float centreX = 0;  // pixels
    float centreY = 0;
    float radius = 1;
};

// Fills a row of each plane with `count` pixels of the gradient from pixel (x, y) on.
void gradientRow(const Gradient& gradient, int x, int y, int count, float* const rows[3]);

// samples = black + (samples - black) * (1 - strength * shade): darkens towards `black`. shade is 0..1.
void shadeRow(float* samples, const float* shade, int count, float black, float strength);

// Samples of 1/256 step as floats.
void fineToFloatRow(const std::uint16_t* fine, int count, float* samples);

// Whole 8-bit samples as floats.
void bytesToFloatRow(const std::uint8_t* bytes, int count, float* samples);

// fine = (factors . rows + offset) in 1/256 step, rounded and clamped to 0..255: one plane of a colour
// conversion. `rows` are three rows of `count` samples; the row written needs kFloatRowSlack too.
struct ColourSum {
    float factors[3] = {};
    float offset = 0;
};
void mixToFineRow(const ColourSum& sum, const float* const rows[3], int count, std::uint16_t* fine);

// The chroma samples of a left-sited 4:2:0 picture that lie on the even ones of `count` columns of two rows,
// rounded up: [1 2 1] / 4 across, [1 1] / 2 down. The rows' ends repeat. Sample 0 is an even column.
void reduceRowsToChroma(const float* upper, const float* lower, int count, float* chroma);

} // namespace glintro
