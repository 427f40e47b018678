#pragma once

#include <string>

namespace glintro {

// What of the desktop's settings decides which touches and buttons are clicks.
struct PointerSettings {
    enum class ClickMethod {
        usual,  // as libinput chooses for the device
        areas,  // the lower right of the pad is the right button
        fingers // the number of fingers is the button
    };

    bool tapToClick = true;
    bool isLeftHanded = false;
    ClickMethod clickMethod = ClickMethod::usual;
    bool operator==(const PointerSettings&) const = default;
};

struct PointingDevice {
    unsigned vendor = 0;
    unsigned product = 0;
    std::string name;
    bool isTouchpad = false;
};

// The settings that GNOME or KDE, whichever XDG_CURRENT_DESKTOP names, has for the device; else the defaults
// above. May wait some seconds for settings that do not answer: not for the main thread.
PointerSettings desktopPointerSettings(const PointingDevice& device);

} // namespace glintro
