#include "app/recording/TakeSwitches.h"

#include <utility>

namespace glintro {

void TakeSwitches::setDevices(std::optional<std::string> microphone, std::optional<std::string> camera) {
    microphone_ = std::move(microphone);
    camera_ = std::move(camera);
    emit changed();
}

} // namespace glintro
