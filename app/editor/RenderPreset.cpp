#include "app/editor/RenderPreset.h"

#include <algorithm>

#include <fmt/format.h>

namespace glintro {
namespace {

constexpr std::array<std::string_view, 5> kIdentifiers{"master", "gif", "square", "vertical", "youtube"};
constexpr std::array<std::string_view, 5> kTitles{"Master", "GIF", "Square", "Vertical", "YouTube"};

// Wider GIFs are watched, smaller ones are glanced at: they get by with fewer frames.
int gifFrameRate(int width) {
    return width > 700 ? 15 : 12;
}

} // namespace

std::string_view identifier(RenderPreset preset) {
    return kIdentifiers[static_cast<std::size_t>(preset)];
}

std::optional<RenderPreset> renderPreset(std::string_view text) {
    const auto found = std::ranges::find(kIdentifiers, text);
    if (found == kIdentifiers.end()) return std::nullopt;
    return static_cast<RenderPreset>(found - kIdentifiers.begin());
}

std::string_view title(RenderPreset preset) {
    return kTitles[static_cast<std::size_t>(preset)];
}

std::string subtitle(RenderPreset preset, const RenderChoices& choices) {
    switch (preset) {
        case RenderPreset::master:
            return "Your canvas, up to 4K";
        case RenderPreset::gif:
            return fmt::format("{} without sound — right for READMEs and chat.",
                               options(preset, choices).label());
        case RenderPreset::square:
            return "1:1 · 1080 · 30 fps";
        case RenderPreset::vertical:
            return "9:16 · follows the action";
        case RenderPreset::youtube:
            return "16:9 · 1080p · 60 fps";
    }
    return {};
}

ExportOptions options(RenderPreset preset, const RenderChoices& choices) {
    switch (preset) {
        case RenderPreset::master:
            return {.shortSide = choices.shortSide, .fps = choices.fps};
        case RenderPreset::gif:
            return {.format = ExportFormat::gif,
                    .gifWidth = choices.gifWidth,
                    .gifFPS = gifFrameRate(choices.gifWidth)};
        case RenderPreset::square:
            return {.fps = 30, .aspect = AspectRatio::square};
        case RenderPreset::vertical:
            return {.fps = 30, .aspect = AspectRatio::tall, .fill = true};
        case RenderPreset::youtube:
            return {.aspect = AspectRatio::wide};
    }
    return {};
}

} // namespace glintro
