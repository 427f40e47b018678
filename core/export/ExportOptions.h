#pragma once

#include <optional>
#include <string>

#include "core/base/Geometry.h"
#include "core/model/ProjectSettings.h"

namespace glintro {

enum class ExportFormat { mp4, gif };

// "MP4" and "GIF".
std::string_view storedText(ExportFormat format);

// What the user chooses for a render.
struct ExportOptions {
    ExportFormat format = ExportFormat::mp4;
    int shortSide = 1080;                   // MP4: the canvas's shorter side in pixels
    int fps = 60;                           // MP4: frames a second
    int gifWidth = 640;                     // GIF: the canvas's longer side in pixels
    int gifFPS = 15;                        // GIF: frames a second
    std::optional<AspectRatio> aspect = {}; // instead of the reel's own
    bool fill = false;                      // crop the recording to fill the canvas

    int frameRate() const;
    // The canvas for a recording of `source` pixels: even, at least 2 x 2.
    PixelSize outputSize(const ProjectSettings& settings, Size source) const;
    // The size and rate as the user reads them: "1080p · 60 fps", "640 px · 15 fps".
    std::string label() const;

    bool operator==(const ExportOptions&) const = default;
};

} // namespace glintro
