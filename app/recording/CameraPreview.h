#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "app/recording/InputPreview.h"
#include "platform/Camera.h"

namespace glintro {

// What the camera sees, for a bubble beside its switch. Main thread, but for picture().
class CameraPreview final : public InputPreview {
    Q_OBJECT

  public:
    explicit CameraPreview(std::shared_ptr<CameraSystem> cameras);

    // The newest picture; absent until there is one. Release it soon: a camera has few buffers. From any
    // thread.
    std::optional<CameraFrame> picture() const;

  signals:
    // There is a newer picture, or none any more. Pictures that come faster than this is handled are one
    // signal.
    void pictureChanged();

  protected:
    Opener opener(LossHandler lost) override;
    void reset() override;

  private:
    struct Newest {
        std::mutex mutex;
        std::optional<CameraFrame> frame; // guarded by mutex
        bool isSignalled = false;         // guarded by mutex
    };

    std::shared_ptr<CameraSystem> cameras_;
    std::shared_ptr<Newest> newest_;
};

} // namespace glintro
