#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "platform/PointerSource.h"
#include "platform/linux/wayland/InputPresses.h"
#include "platform/linux/wayland/ScreenCast.h"

namespace glintro {

// The pointer as the metadata of the pictures shows it, with the presses that the kernel's input devices
// report. A press is where the pointer is last known to be; one while that is not known is ignored, so that
// without pointer metadata there are none.
class PortalPointer final : public PointerSource {
  public:
    explicit PortalPointer(ScreenCast::PointerMode mode) : mode_(mode) {}

    // From any thread: the newest position, on the desktop in points.
    void moved(std::optional<Point> position);

    void setWarningHandler(const WarningHandler& warned) override { warned_ = warned; }
    Result<void> start(PressHandler pressed) override;
    void stop() override;
    std::optional<Point> position() override;
    std::optional<std::string> whyNoPresses() const override;

  private:
    const ScreenCast::PointerMode mode_;
    std::mutex mutex_;
    std::optional<Point> position_; // under mutex_
    WarningHandler warned_;         // of the thread that starts
    InputPresses presses_;
};

} // namespace glintro
