#include "app/recording/TakeSwitches.h"

#include <utility>

namespace glintro {

void TakeSwitches::setMicOn(bool on) {
    if (micOn() == on) return;
    preferences_.setRecordMic(on);
    emit changed();
}

void TakeSwitches::setCameraOn(bool on) {
    if (cameraOn() == on) return;
    preferences_.setRecordCamera(on);
    emit changed();
}

void TakeSwitches::setCountdownOn(bool on) {
    if (countdownOn() == on) return;
    preferences_.setCountdown(on);
    emit changed();
}

void TakeSwitches::setDevices(std::optional<std::string> microphone, std::optional<std::string> camera) {
    microphone_ = std::move(microphone);
    camera_ = std::move(camera);
    emit changed();
}

} // namespace glintro
