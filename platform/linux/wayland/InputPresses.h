#pragma once

#include <functional>
#include <stop_token>
#include <thread>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "platform/PointerSource.h"
#include "platform/linux/WakeUp.h"

struct libinput;

namespace glintro {

// Presses of mouse buttons, touchpads (taps too) and pen tips, read from the kernel's input devices through
// libinput with the desktop's own settings, so that what the desktop sees as a click is one here. A Wayland
// desktop shows them nowhere else, and these only to users who may read /dev/input. Knows no positions.
class InputPresses {
  public:
    struct Press {
        PointerPress::Button button = PointerPress::Button::left;
        Seconds hostTime = 0;
        bool operator==(const Press&) const = default;
    };
    using Handler = std::function<void(const Press&)>;

    ~InputPresses() { stop(); }

    // From then on `pressed` is called on a thread of this, also for devices that are plugged in later.
    // Replaces the handler before. Without a device that may be read it succeeds and is never called.
    [[nodiscard]] Result<void> start(Handler pressed);
    // The handler does not run any more when this returns. Not from the handler.
    void stop();

    // Whether the user may read any pointing device now.
    static bool canSee();

  private:
    void run(const std::stop_token& stop);
    void handleEvents(libinput& context);

    Handler pressed_; // used by the thread while it runs
    WakeUp wakeUp_;
    std::jthread thread_;
};

} // namespace glintro
