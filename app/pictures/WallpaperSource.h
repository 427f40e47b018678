#pragma once

#include <functional>
#include <memory>
#include <string>

#include "core/raster/Picture.h"

namespace glintro {

// Where pictures of reels get the desktop's own picture, for settings that show it. Both functions are called
// from background threads, several at a time, and may be slow. Either may be left out.
struct WallpaperSource {
    // The desktop's picture in the size needed to cover a canvas; null where there is none: the gradient
    // stands in.
    std::function<std::shared_ptr<const BgraImage>(PixelSize canvas)> picture = {};
    // A text that changes with the picture: its file's path, size and time, or a hash of its pixels. Without
    // it, or while it is empty, what shows the wallpaper is drawn each time and never kept on disk.
    std::function<std::string()> identity = {};
};

} // namespace glintro
