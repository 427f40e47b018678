#include "app/pictures/WallpaperMemo.h"

namespace glintro {
namespace {

constexpr std::size_t kMostCanvases = 6; // there are as many aspects

} // namespace

std::shared_ptr<const BgraImage> WallpaperMemo::pictureFor(PixelSize canvas) {
    if (!source_.picture) return nullptr;
    const std::string identity = source_.identity ? source_.identity() : std::string();
    if (identity.empty() || identity != identity_ || pictures_.size() >= kMostCanvases) pictures_.clear();
    identity_ = identity;
    const std::pair size{canvas.width, canvas.height};
    const auto found = pictures_.find(size);
    if (found != pictures_.end()) return found->second;
    auto picture = source_.picture(canvas);
    pictures_[size] = picture;
    return picture;
}

} // namespace glintro
