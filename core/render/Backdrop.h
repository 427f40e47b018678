#pragma once

#include <cstdint>
#include <memory>
#include <variant>

#include "core/base/Geometry.h"
#include "core/raster/FloatRows.h"
#include "core/raster/Picture.h"
#include "core/render/Mask.h"
#include "core/render/Wallpaper.h"

namespace glintro {

// What lies behind everything: one colour, a gradient, or the blurred desktop picture in the canvas's size.
// Colours are those of the layout that it is drawn in.
using Ground = std::variant<PlaneColour, Gradient, std::shared_ptr<const FinePicture>>;

// "#RRGGBB"; another text is the solid colour of a new reel.
Ground solidGround(PixelLayout layout, std::string_view hexColour);

// The gradient preset of an index, which is clamped to the presets, with its highlight near the top left.
Ground gradientGround(PixelLayout layout, PixelSize canvas, std::int64_t index);

// The recording's shadow: where it falls, and how dark it makes the backdrop there, 0..1.
struct BackdropShadow {
    const SoftRoundedRect* shape = nullptr; // over the whole canvas; null for no shadow
    float strength = 0;
};

// Draws a ground and the shadow on it. Computed in float and dithered to 8 bits, so that slow gradients do
// not band. Pixels inside `hole` (even edges, may be empty), which the recording will hide, are left as they
// are.
void drawBackdrop(const Ground& ground, BackdropShadow shadow, const PixelRect& hole, PictureBuffer& picture);

} // namespace glintro
