#pragma once

#include <optional>
#include <string_view>

namespace glintro {

// An R'G'B' colour, each part in 0...1.
struct Colour {
    float red = 0;
    float green = 0;
    float blue = 0;
    bool operator==(const Colour&) const = default;
};

// "#RRGGBB", either case; `nullopt` for any other text.
std::optional<Colour> parseHexColour(std::string_view text);

// The colour of `text`, or the colour of a new reel's solid backdrop when the text is not one: project files
// come from other builds and from hands.
Colour hexColourOrDefault(std::string_view text);

} // namespace glintro
