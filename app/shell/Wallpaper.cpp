#include "app/shell/Wallpaper.h"

#include <utility>

#include "core/media/decode/StillImage.h"

namespace glintro {
namespace {

using PicturePointer = std::shared_ptr<const BgraImage>;

PicturePointer shared(BgraImage image) {
    return std::make_shared<const BgraImage>(std::move(image));
}

PicturePointer fromPixels(DesktopPixels pixels) {
    if (pixels.size.width < 1 || pixels.size.height < 1) return nullptr;
    BgraImage image;
    image.size = pixels.size;
    image.pixels = std::move(pixels.bgra);
    return shared(std::move(image));
}

} // namespace

Wallpaper::Wallpaper(std::optional<std::filesystem::path> named, AskDesktopPicture desktop,
                     const Console& console)
    : named_(std::move(named)), desktop_(std::move(desktop)), console_(console) {}

Result<PicturePointer> Wallpaper::pictureFor(const ProjectSettings& settings, PixelSize canvas) {
    if (named_) {
        auto image = loadImage(*named_, canvas);
        if (!image) return std::unexpected(image.error());
        return shared(*std::move(image));
    }
    if (settings.background != BackgroundKind::wallpaper) return nullptr;
    auto picture = desktopPicture(canvas);
    if (!picture) warnOnce();
    return picture;
}

PicturePointer Wallpaper::desktopPicture(PixelSize canvas) {
    auto picture = desktop_();
    if (!picture) return nullptr;
    if (auto* pixels = std::get_if<DesktopPixels>(&*picture)) return fromPixels(std::move(*pixels));
    auto image = loadImage(std::get<std::filesystem::path>(*picture), canvas);
    return image ? shared(*std::move(image)) : nullptr;
}

void Wallpaper::warnOnce() {
    if (std::exchange(hasWarned_, true)) return;
    console_.warn(
        "The desktop’s own picture can’t be had here, so a gradient stands behind the recording. "
        "Name a picture with --wallpaper.");
}

} // namespace glintro
