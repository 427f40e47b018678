#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "platform/PointerSource.h"
#include "platform/linux/wayland/EvdevPresses.h"

namespace glintro {

// The pointer as the pictures' companion data show it, with the presses that the kernel's devices report. A
// press is where the pointer is last known to be; one while that is not known is left out.
class PortalPointer final : public PointerSource {
  public:
    // From any thread: the newest position, on the desktop in points.
    void moved(std::optional<Point> position);

    Result<void> start(PressHandler pressed) override;
    void stop() override;
    std::optional<Point> position() override;
    std::optional<std::string> whyNoPresses() const override;

  private:
    std::mutex mutex_;
    std::optional<Point> position_; // under mutex_
    EvdevPresses presses_;
};

} // namespace glintro
