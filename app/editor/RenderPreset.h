#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "core/export/ExportOptions.h"

namespace glintro {

// The five ways of rendering that the export sheet offers, in this order.
enum class RenderPreset { master, gif, square, vertical, youtube };

inline constexpr std::array kRenderPresets{RenderPreset::master, RenderPreset::gif, RenderPreset::square,
                                           RenderPreset::vertical, RenderPreset::youtube};

// What the sheet lets the user choose among.
inline constexpr std::array kShortSides{720, 1080, 1440, 2160};
inline constexpr std::array kFrameRates{30, 60};
inline constexpr std::array kGifWidths{480, 640, 800, 1000};

// What the user sets in the sheet. Only `master` honours the short side and the frame rate, only `gif` the
// width.
struct RenderChoices {
    int shortSide = 1080;
    int fps = 60;
    int gifWidth = 640;
    bool operator==(const RenderChoices&) const = default;
};

// The preset's name in files and on the command line.
std::string_view identifier(RenderPreset preset);
std::optional<RenderPreset> renderPreset(std::string_view identifier);

// The preset's name for the user, and the line under it.
std::string_view title(RenderPreset preset);
std::string subtitle(RenderPreset preset, const RenderChoices& choices);

ExportOptions options(RenderPreset preset, const RenderChoices& choices);

} // namespace glintro
