#include "app/recording/InputPreview.h"

#include <utility>

namespace glintro {

InputPreview::InputPreview() : mainThread_(std::make_shared<MainThreadPost>(*this)) {}

InputPreview::~InputPreview() {
    mainThread_->close();
    opening_.post([device = std::exchange(device_, nullptr)]() mutable { device.reset(); });
    // A device that does not close is left behind.
    (void)opening_.waitUntilIdle(std::chrono::seconds(1));
}

void InputPreview::setActive(bool active) {
    if (isActive_ == active) return;
    isActive_ = active;
    update();
}

void InputPreview::setInput(bool isOn, const std::optional<std::string>& device) {
    if (isOn_ == isOn && name_ == device) return;
    if (name_ != device) close();
    isOn_ = isOn;
    name_ = device;
    update();
}

void InputPreview::update() {
    const bool isWanted = isActive_ && isOn_;
    if (!isWanted) close();
    if (isWanted && number_ == 0) {
        number_ = ++lastNumber_;
        problem_.clear();
        opening_.post([this, number = number_, open = opener(), name = name_, post = mainThread_] {
            (*post)([this, number, device = open(name)] { opened(number, device); });
        });
    }
    emit stateChanged();
}

void InputPreview::opened(int number, const Result<Device>& device) {
    if (number != number_) return;
    if (device)
        device_ = *device;
    else
        problem_ = QString::fromStdString(device.error().message);
    emit stateChanged();
}

void InputPreview::close() {
    number_ = 0;
    if (device_) opening_.post([device = std::exchange(device_, nullptr)]() mutable { device.reset(); });
    reset();
}

void InputPreview::lost(const Failure& failure) {
    close();
    problem_ = QString::fromStdString(failure.message);
    emit stateChanged();
}

} // namespace glintro
