#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "core/base/Failure.h"
#include "platform/Camera.h"
#include "platform/linux/camera/CameraMode.h"

namespace glintro {

// The cameras of Video4Linux in the folder (/dev), in the order of their numbers, the first of them the
// default. What cannot be opened or is no camera is left out.
std::vector<CameraDevice> v4l2Cameras(const std::filesystem::path& folder = "/dev");

// A camera of Video4Linux, as it told about itself.
struct V4l2Camera {
    CameraDevice device;
    std::optional<CameraMode> mode; // the best it has; absent when it does not tell any
};

// Fails when the file is none, may not be opened, or is not a camera.
[[nodiscard]] Result<V4l2Camera> readV4l2Camera(const std::string& file);

// Why a camera of this name does not work, from what the system answered (an errno).
[[nodiscard]] Failure cameraFailure(const std::string& name, int systemError);

} // namespace glintro
