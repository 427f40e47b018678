#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "core/base/Failure.h"
#include "platform/BgraPicture.h"
#include "platform/ScreenStream.h"
#include "platform/ShareableContent.h"

namespace glintro {

// Streams of the X server that DISPLAY names. Each has a connection and a thread of its own. Fail with one
// sentence when the server's pixels are not the 8-bit colours a recording is made of, or what is to be
// recorded is not there.

// A display, or an area of it in desktop coordinates, without the windows of this process. `display.id` is
// the atom of its RandR monitor's name; 0 stands for the whole root window. The stream follows the display
// when it is moved, the area with it, and ends when it is unplugged or the area no longer lies on it.
[[nodiscard]] Result<std::unique_ptr<ScreenStream>> openX11Display(const ShareableDisplay& display,
                                                                   const std::optional<Rect>& area);

// One window with its title bar and without its shadow, even while it is covered. Its last picture stays
// while it is minimised; the stream ends when it is closed.
[[nodiscard]] Result<std::unique_ptr<ScreenStream>> openX11Window(std::uint32_t window);

// One picture of the same, see ScreenCapture::picture.
[[nodiscard]] Result<BgraPicture> pictureOfX11Display(const ShareableDisplay& display,
                                                      const std::optional<Rect>& area, int maxSide);
[[nodiscard]] Result<BgraPicture> pictureOfX11Window(std::uint32_t window, int maxSide);

} // namespace glintro
