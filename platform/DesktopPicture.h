#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <variant>
#include <vector>

#include "core/base/Geometry.h"

namespace glintro {

// A picture that no file holds: rows of B, G, R, x bytes, top to bottom without padding.
struct DesktopPixels {
    PixelSize size;
    std::vector<std::uint8_t> bgra;
};

// The picture behind the icons of the desktop: the file the desktop was told to show, or the pixels that an
// older way of setting it has left.
using DesktopPicture = std::variant<std::filesystem::path, DesktopPixels>;

class DesktopPictureSource {
  public:
    virtual ~DesktopPictureSource() = default;

    // Nothing when the desktop shows a plain colour, or does not tell.
    virtual std::optional<DesktopPicture> picture() = 0;
};

} // namespace glintro
