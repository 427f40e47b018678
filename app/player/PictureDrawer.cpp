#include "app/player/PictureDrawer.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace glintro {

PixelSize canvasWithin(PixelSize view, AspectRatio aspect, Size recording) {
    constexpr int kSmallest = 2;
    const auto fits = [&](PixelSize size) { return size.width <= view.width && size.height <= view.height; };
    for (int side = std::max(view.width, view.height); side >= kSmallest;) {
        const PixelSize size = outputSize(aspect, recording, LongSide{static_cast<double>(side)});
        if (fits(size)) return size;
        const double factor = std::min(static_cast<double>(view.width) / size.width,
                                       static_cast<double>(view.height) / size.height);
        side = std::min(static_cast<int>(std::ceil(side * factor)), side - 1);
    }
    return {};
}

PixelSize PictureDrawer::canvasOf(const PictureLook& look) const {
    return canvasWithin(look.view, look.settings->aspect, source_.size);
}

void PictureDrawer::applyLook(const PictureLook& look) {
    if (!renderer_) {
        RenderSource source = source_;
        source.wallpaper = look.wallpaper;
        renderer_ = std::make_shared<const FrameRenderer>(*look.settings, std::move(source), Framing::fit);
    } else if (source_.wallpaper != look.wallpaper) {
        renderer_ = renderer_->with(look.wallpaper);
    }
    source_.wallpaper = look.wallpaper;
    if (renderer_->settings() != *look.settings) renderer_ = renderer_->with(*look.settings);
}

bool PictureDrawer::isLastPicture(const FramePlan& plan, const SourcePictures& pictures,
                                  PixelSize canvas) const {
    return last_ && last_->size == canvas && lastRenderer_ == renderer_ && lastPictures_ == pictures
           && lastPlan_ == plan;
}

std::shared_ptr<const BgraImage> PictureDrawer::draw(const PictureSchedule::ToDraw& picture) {
    const PixelSize canvas = canvasOf(picture.look);
    if (canvas.width == 0) return nullptr;
    applyLook(picture.look);
    SourcePictures pictures = picture.pictures;
    if (!picture.look.settings->showCamera) pictures.camera = nullptr;
    const FramePlan plan = renderer_->plan(picture.sourceTime, canvas);
    if (isLastPicture(plan, pictures, canvas)) return last_;
    last_ = nullptr; // its image may be drawn into if nobody else has it
    const std::shared_ptr<BgraImage> image = pool_.acquire(canvas);
    renderer_->render(pictures.screen.get(), pictures.camera.get(), picture.sourceTime, image->view(),
                      scratch_);
    last_ = image;
    lastRenderer_ = renderer_;
    lastPlan_ = plan;
    lastPictures_ = std::move(pictures);
    return last_;
}

} // namespace glintro
