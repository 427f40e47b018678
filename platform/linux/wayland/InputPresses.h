#pragma once

#include <functional>
#include <stop_token>
#include <thread>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "platform/PointerSource.h"
#include "platform/linux/WakeUp.h"
#include "platform/linux/wayland/PointerSettings.h"

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
    using WarningHandler = PointerSource::WarningHandler;

    ~InputPresses() { stop(); }

    // From then on `pressed` is called on a thread of this, also for devices that are plugged in later.
    // Replaces the handlers before. Without a device that may be read it succeeds and is never called.
    // `warned`, which may be empty, is told on the same thread when presses are no longer seen. May wait some
    // seconds for the desktop's settings: not for the main thread.
    [[nodiscard]] Result<void> start(Handler pressed, WarningHandler warned = {});
    // The handlers do not run any more when this returns. Not from a handler.
    void stop();

    // Whether the user may read any pointing device now.
    static bool canSee();

  private:
    void run(const std::stop_token& stop);
    void handleEvents(libinput& context);

    // Used by the thread while it runs.
    Handler pressed_;
    WarningHandler warned_;
    DesktopPointerSettings settings_;
    WakeUp wakeUp_;
    std::jthread thread_;
};

} // namespace glintro
