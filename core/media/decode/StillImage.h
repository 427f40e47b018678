#pragma once

#include <filesystem>

#include "core/base/Failure.h"
#include "core/raster/Picture.h"

namespace glintro {

// Any still picture FFmpeg decodes (PNG, JPEG, WebP, ...), as sRGB.
[[nodiscard]] Result<BgraImage> loadImage(const std::filesystem::path& file);

// PNG. Replaces the file in one step: a failed save leaves the old one.
[[nodiscard]] Result<void> savePng(const BgraImage& image, const std::filesystem::path& file);

} // namespace glintro
