#include "core/export/GifFrame.h"

#include <array>

namespace glintro {

GifFrame withUsedColours(const GifFrame& frame) {
    std::array<bool, 256> used{};
    for (const std::uint8_t index : frame.indices) used[index] = true;
    if (frame.kept) used[*frame.kept] = false;

    GifFrame small{.area = frame.area, .indices = frame.indices, .palette = {}, .kept = frame.kept};
    std::array<std::uint8_t, 256> becomes{};
    for (std::size_t i = 0; i < frame.palette.size(); ++i) {
        if (!used[i]) continue;
        becomes[i] = static_cast<std::uint8_t>(small.palette.size());
        small.palette.push_back(frame.palette[i]);
    }
    if (frame.kept) {
        small.kept = static_cast<std::uint8_t>(small.palette.size());
        becomes[*frame.kept] = *small.kept;
    }
    for (std::uint8_t& index : small.indices) index = becomes[index];
    return small;
}

} // namespace glintro
