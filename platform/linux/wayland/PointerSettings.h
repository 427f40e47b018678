#pragma once

#include <map>
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

// The pointer's settings of GNOME or KDE, whichever XDG_CURRENT_DESKTOP names, as they were when they were
// read; the defaults above without one of them. A value.
class DesktopPointerSettings {
  public:
    // Reads them. May wait some seconds for settings that do not answer: not for the main thread.
    static DesktopPointerSettings ofDesktop();

    // For a device, also one that is plugged in later.
    PointerSettings settingsOf(const PointingDevice& device) const;

  private:
    using Entries = std::map<std::string, std::string>;

    PointerSettings mouse_;
    PointerSettings touchpad_;
    std::map<std::string, Entries> kdeDevices_; // by the name of their group in KDE's file
};

} // namespace glintro
