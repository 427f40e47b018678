#include "core/export/ExportOptions.h"

#include <fmt/format.h>

#include "core/plan/FrameGeometry.h"

namespace glintro {

std::string_view storedText(ExportFormat format) {
    return format == ExportFormat::gif ? "GIF" : "MP4";
}

int ExportOptions::frameRate() const {
    return format == ExportFormat::gif ? gifFPS : fps;
}

PixelSize ExportOptions::outputSize(const ProjectSettings& settings, Size source) const {
    const AspectRatio shape = aspect.value_or(settings.aspect);
    if (format == ExportFormat::gif)
        return glintro::outputSize(shape, source, LongSide{static_cast<double>(gifWidth)});
    return glintro::outputSize(shape, source, ShortSide{static_cast<double>(shortSide)});
}

std::string ExportOptions::label() const {
    if (format == ExportFormat::gif) return fmt::format("{} px · {} fps", gifWidth, gifFPS);
    return fmt::format("{} · {} fps", shortSide == 2160 ? "4K" : fmt::format("{}p", shortSide), fps);
}

} // namespace glintro
