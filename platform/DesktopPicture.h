#pragma once

#include <filesystem>
#include <optional>
#include <variant>

#include "platform/BgraPicture.h"

namespace glintro {

// A picture that no file holds.
using DesktopPixels = BgraPicture;

// The picture behind the icons of the desktop: the file that the desktop's settings name, or the pixels that
// a program has left on the root window.
using DesktopPicture = std::variant<std::filesystem::path, DesktopPixels>;

class DesktopPictureSource {
  public:
    virtual ~DesktopPictureSource() = default;

    // `nullopt` when the desktop shows a plain colour, or does not tell. From any thread but the main one:
    // the desktop's settings may take seconds to answer.
    virtual std::optional<DesktopPicture> picture() = 0;
};

} // namespace glintro
