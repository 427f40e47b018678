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

// What the user sets in the sheet. Only `master` honours the short side and the frame rate, only `gif` the
// width.
struct RenderChoices {
    int shortSide = 1080;
    int fps = 60;
    int gifWidth = 640;
};

// The preset's name in files and on the command line.
std::string_view identifier(RenderPreset preset);
std::optional<RenderPreset> renderPreset(std::string_view identifier);

// The line under the preset's name.
std::string subtitle(RenderPreset preset, const RenderChoices& choices);

ExportOptions options(RenderPreset preset, const RenderChoices& choices);

} // namespace glintro
