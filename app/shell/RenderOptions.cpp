#include "app/shell/RenderOptions.h"

#include <algorithm>

#include <fmt/format.h>

namespace glintro {
namespace {

std::string outputEnding(const RenderWishes& wishes) {
    return wishes.output ? endingOf(*wishes.output) : "";
}

RenderChoices choicesOf(const RenderWishes& wishes) {
    RenderChoices choices;
    choices.shortSide = wishes.shortSide.value_or(choices.shortSide);
    choices.fps = wishes.fps.value_or(choices.fps);
    choices.gifWidth = wishes.gifWidth.value_or(choices.gifWidth);
    return choices;
}

ExportOptions presetOptions(const RenderWishes& wishes) {
    if (wishes.preset) return options(*wishes.preset, choicesOf(wishes));
    const bool gif = wishes.format ? *wishes.format == ExportFormat::gif : outputEnding(wishes) == ".gif";
    const RenderChoices choices = choicesOf(wishes);
    return {.format = gif ? ExportFormat::gif : ExportFormat::mp4,
            .shortSide = choices.shortSide,
            .fps = choices.fps,
            .gifWidth = choices.gifWidth};
}

bool isFixed(const RenderWishes& wishes) {
    return wishes.preset && *wishes.preset != RenderPreset::master && *wishes.preset != RenderPreset::gif;
}

// Why a wish cannot be fulfilled by a render of a format; empty when all can.
std::string contradiction(const RenderWishes& wishes, ExportFormat format) {
    const bool gif = format == ExportFormat::gif;
    if (wishes.format && *wishes.format != format)
        return fmt::format("--preset {} does not go with --format {}.", identifier(*wishes.preset),
                           gif ? "mp4" : "gif");
    const std::string ending = outputEnding(wishes);
    if (!ending.empty() && ending != fileEnding(format))
        return fmt::format("-o expects the name of a {} file, not “{}”.", fileEnding(format),
                           wishes.output->string());
    struct Wish {
        const char* option;
        bool given;
        bool suits;
    };
    const bool free = !isFixed(wishes);
    for (const Wish& wish :
         {Wish{"--short-side", wishes.shortSide.has_value(), !gif && free},
          Wish{"--fps", wishes.fps.has_value(), !gif && free},
          Wish{"--gif-width", wishes.gifWidth.has_value(), gif},
          Wish{"--gif-fps", wishes.gifFps.has_value(), gif},
          Wish{"--aspect", wishes.aspect.has_value(), free}, Wish{"--fill", wishes.fill, free}}) {
        if (!wish.given || wish.suits) continue;
        if (!free)
            return fmt::format("{} does not go with --preset {}.", wish.option, identifier(*wishes.preset));
        return fmt::format("{} goes with {} only.", wish.option, gif ? "MP4 movies" : "GIFs");
    }
    return {};
}

} // namespace

std::string endingOf(const std::filesystem::path& file) {
    std::string ending = file.extension().string();
    for (char& c : ending) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return ending;
}

std::string_view fileEnding(ExportFormat format) {
    return format == ExportFormat::gif ? ".gif" : ".mp4";
}

std::expected<ExportOptions, std::string> exportOptions(const RenderWishes& wishes) {
    ExportOptions options = presetOptions(wishes);
    if (std::string sentence = contradiction(wishes, options.format); !sentence.empty())
        return std::unexpected(std::move(sentence));
    options.gifFPS = wishes.gifFps.value_or(options.gifFPS);
    if (wishes.aspect) options.aspect = wishes.aspect;
    options.fill = options.fill || wishes.fill;
    return options;
}

} // namespace glintro
