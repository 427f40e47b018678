#pragma once

#include <cstdint>

namespace glintro::sample {

// sRGB components in 0..1, alpha straight.
struct Colour {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;

    constexpr Colour withAlpha(double value) const { return {red, green, blue, value}; }
};

constexpr Colour rgb(std::uint32_t hex) {
    return {((hex >> 16) & 255) / 255.0, ((hex >> 8) & 255) / 255.0, (hex & 255) / 255.0, 1};
}

// The one light theme of the sample application.
namespace theme {
inline constexpr Colour kWindow = rgb(0xFFFFFF);
inline constexpr Colour kPane = rgb(0xF8F9FB);
inline constexpr Colour kSidebar = rgb(0xF1F4F6);
inline constexpr Colour kLine = rgb(0xE4E8EC);
inline constexpr Colour kField = rgb(0xF2F4F6);
inline constexpr Colour kInk = rgb(0x17212B);
inline constexpr Colour kMuted = rgb(0x5F6C7A);
inline constexpr Colour kFaint = rgb(0x97A2AE);
inline constexpr Colour kAccent = rgb(0x0C8580);
inline constexpr Colour kAccentDark = rgb(0x08706C);
inline constexpr Colour kAccentSoft = rgb(0xDCF1EF);
inline constexpr Colour kWhite = rgb(0xFFFFFF);
inline constexpr Colour kCoral = rgb(0xEE6C4D);
inline constexpr Colour kAmber = rgb(0xE0A030);
inline constexpr Colour kViolet = rgb(0x7467E8);
inline constexpr Colour kSky = rgb(0x2F8FE0);
inline constexpr Colour kGreen = rgb(0x2FA36B);
} // namespace theme

} // namespace glintro::sample
