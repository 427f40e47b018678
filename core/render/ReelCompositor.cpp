#include "core/render/ReelCompositor.h"

namespace glintro {

Result<ReelFrame> ReelCompositor::frameAt(Seconds compositionTime) {
    const Seconds sourceTime = reel_.map.source(compositionTime);
    auto screen = reel_.screen->frameAt(sourceTime);
    if (!screen) return std::unexpected(screen.error());
    return ReelFrame{renderer_.plan(sourceTime, canvas_), screen->picture, webcamAt(sourceTime)};
}

// The webcam's frame of the same moment; none outside its movie, or once it turns out to be broken. A
// hidden bubble's is not decoded.
PicturePtr ReelCompositor::webcamAt(Seconds sourceTime) {
    if (!renderer_.settings().showCamera) return nullptr;
    const Seconds webcamTime = sourceTime - reel_.cameraOffset;
    if (!reel_.webcam || webcamTime < 0 || webcamTime >= reel_.webcam->properties().duration) return nullptr;
    auto frame = reel_.webcam->frameAt(webcamTime);
    if (frame) return frame->picture;
    reel_.webcam = nullptr;
    return nullptr;
}

} // namespace glintro
