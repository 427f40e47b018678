#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/Camera.h"

namespace glintro {

// What libavdevice (or libavformat) opens as a camera.
struct AvCameraInput {
    std::string format; // "v4l2", "lavfi"
    std::string url;
    std::string name; // what a person calls it
    std::vector<std::pair<std::string, std::string>> options;
};

// Reads, decodes and converts pictures on a thread of its own. A picture that cannot be decoded is left out;
// the camera is lost when reading fails, when the pictures end, and when none has come for five seconds.
class AvCamera final : public Camera {
  public:
    explicit AvCamera(AvCameraInput input) : input_(std::move(input)) {}
    ~AvCamera() override { stop(); }

    [[nodiscard]] Result<void> start(std::function<void(CameraFrame)> seen,
                                     std::function<void(Failure)> lost) override;
    void stop() override;

  private:
    AvCameraInput input_;
    std::jthread thread_;
};

} // namespace glintro
