#include "platform/linux/LinuxPlatform.h"

#include "platform/ThreadPriority.h"
#include "platform/linux/RealtimeKit.h"
#include "platform/linux/camera/LinuxCameras.h"
#include "platform/linux/sound/PulseSound.h"
#include "platform/linux/wayland/WaylandDesktop.h"
#include "platform/linux/x11/X11Desktop.h"

namespace glintro {
namespace {

class LinuxPlatform final : public Platform {
  public:
    explicit LinuxPlatform(LinuxDesktop desktop)
        : screen_(desktop == LinuxDesktop::wayland ? createPortalScreenCapture() : createX11ScreenCapture()),
          hotKey_(desktop == LinuxDesktop::wayland ? createPortalHotKeySource() : createX11HotKeySource()),
          desktopPicture_(createDesktopPictureSource()),
          sound_(createPulseSound()),
          cameras_(createLinuxCameras()) {
        setThreadPriorityService(
            [kit = std::make_shared<RealtimeKit>()](pid_t thread, int nice) { kit->raise(thread, nice); });
    }
    ~LinuxPlatform() override { setThreadPriorityService(nullptr); }
    LinuxPlatform(const LinuxPlatform&) = delete;
    LinuxPlatform& operator=(const LinuxPlatform&) = delete;

    ScreenCapture& screen() override { return *screen_; }
    SoundSystem& sound() override { return *sound_; }
    CameraSystem& cameras() override { return *cameras_; }
    HotKeySource& hotKey() override { return *hotKey_; }
    DesktopPictureSource& desktopPicture() override { return *desktopPicture_; }

  private:
    std::unique_ptr<ScreenCapture> screen_;
    std::unique_ptr<HotKeySource> hotKey_;
    std::unique_ptr<DesktopPictureSource> desktopPicture_;
    std::unique_ptr<SoundSystem> sound_;
    std::unique_ptr<CameraSystem> cameras_;
};

} // namespace

std::unique_ptr<Platform> createLinuxPlatform(LinuxDesktop desktop) {
    return std::make_unique<LinuxPlatform>(desktop);
}

} // namespace glintro
