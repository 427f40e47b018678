#pragma once

#include <memory>

#include "platform/Camera.h"
#include "platform/DesktopPicture.h"
#include "platform/HotKeySource.h"
#include "platform/ScreenCapture.h"
#include "platform/Sound.h"

namespace glintro {

// The system Glintro runs on. Nothing is connected to before it is used; what is missing (no display, no
// sound server, no camera) shows as a Failure of the call that needs it. The parts live as long as this.
class Platform {
  public:
    virtual ~Platform() = default;

    virtual ScreenCapture& screen() = 0;
    virtual SoundSystem& sound() = 0;
    virtual CameraSystem& cameras() = 0;
    virtual HotKeySource& hotKey() = 0;
    virtual DesktopPictureSource& desktopPicture() = 0;
};

} // namespace glintro
