#pragma once

#include <filesystem>
#include <optional>

#include "core/base/Failure.h"
#include "core/raster/Picture.h"

namespace glintro {

// Loads any still picture FFmpeg decodes (PNG, JPEG, WebP, ...) as sRGB, turned upright as its EXIF
// orientation says. With `covered`, a larger picture is scaled down, in its shape, while it is decoded, as
// far as it still covers that size: shrunkToCover(). Fails on what is no picture and on more than 2^27
// pixels. Any thread.
[[nodiscard]] Result<BgraImage> loadImage(const std::filesystem::path& file,
                                          std::optional<PixelSize> covered = std::nullopt);

// Saves a PNG, which replaces the file in one step: a failed save leaves the old one.
[[nodiscard]] Result<void> savePng(const BgraImage& image, const std::filesystem::path& file);

} // namespace glintro
