#pragma once

#include <memory>

#include "platform/Camera.h"

namespace glintro {

// The cameras of V4L2, and those that only PipeWire offers.
std::unique_ptr<CameraSystem> createLinuxCameras();

} // namespace glintro
