#include "app/recording/InputPreview.h"

#include <utility>

namespace glintro {

InputPreview::InputPreview() : mainThread_(std::make_shared<MainThreadPost>(*this)) {}

InputPreview::~InputPreview() {
    mainThread_->close();
    release();
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
    if (isWanted && number_ == 0) open();
    emit stateChanged();
}

void InputPreview::open() {
    const int number = number_ = ++lastNumber_;
    problem_.clear();
    handover_ = std::make_shared<Handover<void>>();
    const auto lost = [this, number, post = mainThread_](const Failure& failure) {
        (*post)([this, number, failure] { this->lost(number, failure); });
    };
    opening_.post(
        [this, number, open = opener(lost), name = name_, post = mainThread_, handover = handover_] {
            auto device = open(name);
            Result<void> result;
            if (device)
                handover->put(*std::move(device));
            else
                result = std::unexpected(device.error());
            (*post)([this, number, result] { opened(number, result); });
        });
}

void InputPreview::opened(int number, const Result<void>& result) {
    if (number != number_) return;
    if (result)
        device_ = handover_->get();
    else
        problem_ = QString::fromStdString(result.error().message);
    emit stateChanged();
}

void InputPreview::close() {
    number_ = 0;
    release();
    reset();
}

// In the background, whether the device was told of already or not: closing one may block.
void InputPreview::release() {
    Device untold = handover_ ? handover_->close() : nullptr;
    if (!device_ && !untold) return;
    opening_.post([device = std::exchange(device_, nullptr), untold = std::move(untold)]() mutable {
        device.reset();
        untold.reset();
    });
}

// A device that is no longer the newest one may tell of its loss late.
void InputPreview::lost(int number, const Failure& failure) {
    if (number != number_) return;
    close();
    problem_ = QString::fromStdString(failure.message);
    emit stateChanged();
}

} // namespace glintro
