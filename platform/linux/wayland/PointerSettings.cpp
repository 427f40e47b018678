#include "platform/linux/wayland/PointerSettings.h"

#include <filesystem>
#include <fstream>

#include <fmt/format.h>

#include "platform/linux/RunningDesktop.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using ClickMethod = PointerSettings::ClickMethod;
using Entries = std::map<std::string, std::string>;

PointerSettings gnomeMouse() {
    return {.isLeftHanded = gnomeSetting("peripherals.mouse left-handed") == "true"};
}

PointerSettings gnomeTouchpad(bool isMouseLeft) {
    PointerSettings settings;
    const std::string hand = gnomeSetting("peripherals.touchpad left-handed"); // left, right or as the mouse
    settings.isLeftHanded = hand == "left" || (hand != "right" && isMouseLeft);
    settings.tapToClick = gnomeSetting("peripherals.touchpad tap-to-click") != "false";
    const std::string method = gnomeSetting("peripherals.touchpad click-method");
    if (method == "areas") settings.clickMethod = ClickMethod::areas;
    if (method == "fingers") settings.clickMethod = ClickMethod::fingers;
    return settings;
}

// The groups of the file that KDE keeps its input settings in, one for each device.
std::map<std::string, Entries> kdeGroups() {
    const std::string configured = environmentText("XDG_CONFIG_HOME");
    const fs::path folder =
        configured.empty() ? fs::path(environmentText("HOME")) / ".config" : fs::path(configured);
    std::ifstream file(folder / "kcminputrc");
    std::map<std::string, Entries> groups;
    std::string group;
    for (std::string line; std::getline(file, line);) {
        const std::size_t equals = line.find('=');
        if (line.starts_with("["))
            group = line;
        else if (equals != std::string::npos)
            groups[group][line.substr(0, equals)] = line.substr(equals + 1);
    }
    return groups;
}

PointerSettings kdeSettings(Entries entries) {
    PointerSettings settings;
    settings.tapToClick = entries["TapToClick"] != "false";
    settings.isLeftHanded = entries["LeftHanded"] == "true";
    if (entries["ClickMethod"] == "1") settings.clickMethod = ClickMethod::areas;
    if (entries["ClickMethod"] == "2") settings.clickMethod = ClickMethod::fingers;
    return settings;
}

} // namespace

DesktopPointerSettings DesktopPointerSettings::ofDesktop() {
    DesktopPointerSettings settings;
    if (desktopIs("KDE")) {
        settings.kdeDevices_ = kdeGroups();
    } else if (desktopIs("GNOME")) {
        settings.mouse_ = gnomeMouse();
        settings.touchpad_ = gnomeTouchpad(settings.mouse_.isLeftHanded);
    }
    return settings;
}

PointerSettings DesktopPointerSettings::settingsOf(const PointingDevice& device) const {
    const auto found =
        kdeDevices_.find(fmt::format("[Libinput][{}][{}][{}]", device.vendor, device.product, device.name));
    if (found != kdeDevices_.end()) return kdeSettings(found->second);
    return device.isTouchpad ? touchpad_ : mouse_;
}

} // namespace glintro
