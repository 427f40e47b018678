#pragma once

#include <memory>

#include "platform/Camera.h"

namespace glintro {

// The cameras of V4L2, and those that only PipeWire offers. For machines without a camera, and for tests, a
// test picture that FFmpeg's filters draw can be opened by its description, in real time, for example
// "lavfi:testsrc2=size=640x480:rate=30,realtime"; it is not among the cameras listed.
std::unique_ptr<CameraSystem> createLinuxCameras();

} // namespace glintro
