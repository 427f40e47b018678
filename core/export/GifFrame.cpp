#include "core/export/GifFrame.h"

#include <array>
#include <utility>

namespace glintro {

GifFrame withUsedColours(GifFrame frame) {
    std::array<bool, 256> used{};
    for (const std::uint8_t index : frame.indices) used[index] = true;
    if (frame.kept) used[*frame.kept] = false;

    std::vector<GifColour> colours;
    std::array<std::uint8_t, 256> becomes{};
    for (std::size_t i = 0; i < frame.palette.size(); ++i) {
        if (!used[i]) continue;
        becomes[i] = static_cast<std::uint8_t>(colours.size());
        colours.push_back(frame.palette[i]);
    }
    if (frame.kept) becomes[*frame.kept] = static_cast<std::uint8_t>(colours.size());

    for (std::uint8_t& index : frame.indices) index = becomes[index];
    if (frame.kept) frame.kept = becomes[*frame.kept];
    frame.palette = std::move(colours);
    return frame;
}

} // namespace glintro
