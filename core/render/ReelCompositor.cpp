#include "core/render/ReelCompositor.h"

namespace glintro {

Result<ReelFrame> ReelCompositor::frameAt(Seconds compositionTime) {
    const Seconds sourceTime = reel_.map.source(compositionTime);
    auto screen = reel_.screen->frameAt(sourceTime);
    if (!screen) return std::unexpected(screen.error());
    return ReelFrame{renderer_.plan(sourceTime, canvas_), screen->picture, cameraAt(sourceTime)};
}

// The camera's frame of the same moment; none outside the camera movie, or once it turns out to be broken. A
// hidden bubble's is not decoded.
PicturePtr ReelCompositor::cameraAt(Seconds sourceTime) {
    if (!renderer_.settings().showCamera) return nullptr;
    const Seconds cameraTime = sourceTime - reel_.cameraOffset;
    if (!reel_.camera || cameraTime < 0 || cameraTime >= reel_.camera->properties().duration) return nullptr;
    auto frame = reel_.camera->frameAt(cameraTime);
    if (frame) return frame->picture;
    reel_.camera = nullptr;
    return nullptr;
}

} // namespace glintro
