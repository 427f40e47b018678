#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/base/Geometry.h"
#include "core/export/GifPalette.h"

namespace glintro {

// One frame of an animated GIF: what changes within `area`, row by row, while the rest of the canvas stays as
// it was. A default frame changes nothing.
struct GifFrame {
    PixelRect area{};
    std::vector<std::uint8_t> indices; // one for each pixel of the area
    std::vector<GifColour> palette;    // at most 256
    // Pixels with this index stay as they were. It lies in the palette or follows its last colour.
    std::optional<std::uint8_t> kept = std::uint8_t{0};
};

// The same frame with no more colours than it uses, in the same order: its table is smaller, and so are the
// codes.
GifFrame withUsedColours(GifFrame frame);

} // namespace glintro
