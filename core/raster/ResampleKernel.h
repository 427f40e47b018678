#pragma once

#include <cstdint>

#include "core/raster/Resample.h"

// The vector code behind Resampler.
namespace glintro {

// A source row must have at least this many samples that may be read; those beyond the filters' reach may
// hold anything.
inline constexpr int kResampleChunk = 64;

// Samples of scratch that resampleRows wants for a source of this width; aligned to kRowAlignment.
constexpr int resampleScratchLength(int sourceWidth) {
    return sourceWidth * 32;
}

// Fills `destination`, which has columns.length() columns and rows.length() rows.
//
// Up to kNarrowTaps taps on both axes, products are rounded to 1/64 of a level after the rows' filter and to
// 1/32 after the columns' filter: with so few of them, flat areas stay exactly flat and no sample is a whole
// level off. Beyond that, products are summed exactly in 32 bits, and only the sums are rounded to these
// fractions.
void resampleRows(PlaneView source, const FilterBank& columns, const FilterBank& rows, std::int16_t* scratch,
                  MutablePlaneView destination);

inline constexpr int kNarrowTaps = 12;

} // namespace glintro
