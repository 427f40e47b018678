#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/base/Failure.h"
#include "platform/Camera.h"

namespace glintro {

// The cameras that only PipeWire offers, not those it has from Video4Linux itself; none when it does not run.
std::vector<CameraDevice> pipeWireCameras();

// By the identifier that pipeWireCameras() tells. Fails when there is none now.
[[nodiscard]] Result<std::unique_ptr<Camera>> openPipeWireCamera(const std::string& id);

} // namespace glintro
