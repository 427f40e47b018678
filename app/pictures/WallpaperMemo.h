#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "app/pictures/WallpaperSource.h"
#include "core/model/ProjectSettings.h"

namespace glintro {

// The desktop's picture for one canvas after the other, loaded once for each size while it stays the same.
// Pictures that are equal are the same object, by which renderers know what they can keep. One thread.
class WallpaperMemo {
  public:
    explicit WallpaperMemo(WallpaperSource source) : source_(std::move(source)) {}

    // Null where there is none.
    std::shared_ptr<const BgraImage> pictureFor(PixelSize canvas);

  private:
    WallpaperSource source_;
    std::string identity_; // of what is kept
    std::map<std::pair<int, int>, std::shared_ptr<const BgraImage>> pictures_;
};

} // namespace glintro
