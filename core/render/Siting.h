#pragma once

#include "core/raster/Picture.h"

namespace glintro {

// Where the samples of a plane lie on one axis of its picture: sample j at pixel coordinate j * spacing +
// offset, where the first pixel covers 0..1.
struct Siting {
    double spacing = 1;
    double offset = 0.5;
};

// Left-sited chroma: on even columns, half-way between two rows.
inline Siting columnSiting(PixelLayout layout, int plane) {
    return layout == PixelLayout::yuv420 && plane > 0 ? Siting{2, 0.5} : Siting{1, 0.5};
}

inline Siting rowSiting(PixelLayout layout, int plane) {
    return layout == PixelLayout::yuv420 && plane > 0 ? Siting{2, 1.0} : Siting{1, 0.5};
}

} // namespace glintro
