#pragma once

#include <expected>
#include <filesystem>
#include <optional>
#include <string>

#include "app/editor/RenderPreset.h"
#include "core/export/ExportOptions.h"

namespace glintro {

// What a command line asks of a render; absent where it says nothing.
struct RenderWishes {
    std::optional<RenderPreset> preset;
    std::optional<ExportFormat> format;
    std::optional<std::filesystem::path> output; // its ending chooses the format when nothing else does
    std::optional<int> shortSide;
    std::optional<int> fps;
    std::optional<int> gifWidth;
    std::optional<int> gifFps;
    std::optional<AspectRatio> aspect;
    bool fill = false;
};

// The options that fulfil all wishes, or one sentence on two that do not go together: a wish is never
// ignored.
std::expected<ExportOptions, std::string> exportOptions(const RenderWishes& wishes);

// The ending of a file's name with its point, in lower case.
std::string endingOf(const std::filesystem::path& file);

// ".mp4" or ".gif".
std::string_view fileEnding(ExportFormat format);

} // namespace glintro
