#include "app/recording/CameraPreview.h"

#include <utility>

namespace glintro {

CameraPreview::CameraPreview(std::shared_ptr<CameraSystem> cameras)
    : cameras_(std::move(cameras)), newest_(std::make_shared<Newest>()) {}

std::optional<CameraFrame> CameraPreview::picture() const {
    const std::scoped_lock lock(newest_->mutex);
    return newest_->frame;
}

InputPreview::Opener CameraPreview::opener(LossHandler lost) {
    const auto seen = [this, newest = newest_, post = mainThread()](CameraFrame frame) {
        {
            const std::scoped_lock lock(newest->mutex);
            newest->frame = std::move(frame);
            if (std::exchange(newest->isSignalled, true)) return;
        }
        (*post)([this, newest] {
            {
                const std::scoped_lock lock(newest->mutex);
                newest->isSignalled = false;
            }
            emit pictureChanged();
        });
    };
    return [seen, lost = std::move(lost),
            cameras = cameras_](const std::optional<std::string>& name) -> Result<Device> {
        auto camera = cameras->openCamera(name);
        if (!camera) return std::unexpected(camera.error());
        auto started = (*camera)->start(seen, lost);
        if (!started) return std::unexpected(started.error());
        return Device(std::move(*camera));
    };
}

// A new `Newest`: a picture of the closed device may still be on its way to the old one.
void CameraPreview::reset() {
    const bool hadPicture = picture().has_value();
    newest_ = std::make_shared<Newest>();
    if (hadPicture) emit pictureChanged();
}

} // namespace glintro
