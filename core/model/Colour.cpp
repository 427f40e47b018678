#include "core/model/Colour.h"

#include <charconv>

namespace glintro {
namespace {

constexpr Colour kDefaultColour{0x16 / 255.0F, 0x16 / 255.0F, 0x1C / 255.0F};

std::optional<float> parseChannel(std::string_view digits) {
    unsigned value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    if (error != std::errc{} || end != digits.data() + digits.size()) return std::nullopt;
    return static_cast<float>(value) / 255.0F;
}

} // namespace

std::optional<Colour> parseHexColour(std::string_view text) {
    if (text.size() != 7 || text.front() != '#') return std::nullopt;
    const auto red = parseChannel(text.substr(1, 2));
    const auto green = parseChannel(text.substr(3, 2));
    const auto blue = parseChannel(text.substr(5, 2));
    if (!red || !green || !blue) return std::nullopt;
    return Colour{*red, *green, *blue};
}

Colour hexColourOrDefault(std::string_view text) {
    return parseHexColour(text).value_or(kDefaultColour);
}

} // namespace glintro
