#include "platform/linux/wayland/PortalPointer.h"

#include <utility>

namespace glintro {

void PortalPointer::moved(std::optional<Point> position) {
    const std::scoped_lock lock(mutex_);
    position_ = position;
}

Result<void> PortalPointer::start(PressHandler pressed) {
    const auto placed = [this, pressed = std::move(pressed)](const InputPresses::Press& press) {
        if (const auto where = position()) pressed({press.button, *where, press.hostTime});
    };
    return presses_.start(placed, warned_);
}

void PortalPointer::stop() {
    presses_.stop();
}

std::optional<Point> PortalPointer::position() {
    const std::scoped_lock lock(mutex_);
    return position_;
}

std::optional<std::string> PortalPointer::whyNoPresses() const {
    using Mode = ScreenCast::PointerMode;
    if (mode_ == Mode::embedded) {
        return "This desktop draws the pointer into the picture without telling where it is, so zooms cannot "
               "follow it.";
    }
    if (mode_ == Mode::hidden)
        return "This desktop neither shows the pointer nor tells where it is, so zooms cannot follow it.";
    if (presses_.canSee()) return std::nullopt;
    return "Clicks cannot be seen on this desktop; to have them recorded, add your user to the group “input” "
           "and log in again.";
}

} // namespace glintro
