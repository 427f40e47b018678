#pragma once

#include <filesystem>

#include "core/base/Failure.h"
#include "core/raster/Picture.h"

namespace glintro {

// Any still picture FFmpeg decodes (PNG, JPEG, WebP, ...), as sRGB.
Result<BgraImage> loadImage(const std::filesystem::path& file);

// PNG, written beside and renamed into place, so that a failed save leaves the old file.
Result<void> savePng(const BgraImage& image, const std::filesystem::path& file);

} // namespace glintro
