#pragma once

#include <memory>

#include "app/player/ImagePool.h"
#include "app/player/PictureSchedule.h"
#include "core/render/FrameRenderer.h"

namespace glintro {

// The largest canvas of the settings' aspect within a view, as exports would have it in that size; empty
// where the view has no room for one.
PixelSize canvasWithin(PixelSize view, AspectRatio aspect, Size recording);

// Draws the pictures of a reel as they are to look, with the renderer of exports. What a change of look
// leaves as it is, is not computed again, and a picture equal to the last one is not drawn again. One thread.
class PictureDrawer {
  public:
    // `source` without the wallpaper, which comes with each look.
    explicit PictureDrawer(RenderSource source) : source_(std::move(source)) {}

    PixelSize canvasOf(const PictureLook& look) const;
    // Null where the view is empty.
    std::shared_ptr<const BgraImage> draw(const PictureSchedule::ToDraw& picture);

  private:
    void applyLook(const PictureLook& look);
    bool isLastPicture(const FramePlan& plan, const SourcePictures& pictures, PixelSize canvas) const;

    RenderSource source_;
    std::shared_ptr<const FrameRenderer> renderer_; // null before the first picture
    DrawScratch scratch_;
    ImagePool pool_;

    std::shared_ptr<const BgraImage> last_; // with what it was drawn from:
    std::shared_ptr<const FrameRenderer> lastRenderer_;
    FramePlan lastPlan_;
    SourcePictures lastPictures_;
};

} // namespace glintro
