#include "platform/linux/camera/LinuxCameras.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include "platform/linux/camera/AvCamera.h"
#include "platform/linux/camera/PipeWireCamera.h"
#include "platform/linux/camera/V4l2Devices.h"

namespace glintro {
namespace {

constexpr std::string_view kTestPicture = "lavfi:";

bool isCalled(const CameraDevice& camera, const std::string& device) {
    return camera.id == device || camera.name == device;
}

Result<std::unique_ptr<Camera>> openV4l2Camera(const std::string& file) {
    auto camera = readV4l2Camera(file);
    if (!camera) return std::unexpected(camera.error());
    AvCameraInput input{.format = "v4l2", .url = file, .name = camera->device.name, .options = {}};
    if (const auto& mode = camera->mode) {
        input.options = {
            {"input_format", mode->format},
            {"video_size", std::to_string(mode->size.width) + "x" + std::to_string(mode->size.height)}};
        if (mode->fps > 0) input.options.emplace_back("framerate", std::to_string(mode->fps));
    }
    return std::make_unique<AvCamera>(std::move(input));
}

// Why there is none: perhaps one is connected that this user may not use.
Failure noCamera() {
    const auto first = readV4l2Camera("/dev/video0");
    if (!first && first.error().nativeCode == EACCES) return first.error();
    return {"There is no camera; connect one and try again."};
}

class LinuxCameras final : public CameraSystem {
  public:
    Result<std::vector<CameraDevice>> cameras() override {
        std::vector<CameraDevice> devices = v4l2Cameras();
        for (CameraDevice& camera : pipeWireCameras()) {
            camera.isDefault = devices.empty();
            devices.push_back(std::move(camera));
        }
        return devices;
    }

    Result<std::unique_ptr<Camera>> openCamera(std::optional<std::string> device) override {
        if (device && device->starts_with(kTestPicture)) {
            return std::make_unique<AvCamera>(AvCameraInput{.format = "lavfi",
                                                            .url = device->substr(kTestPicture.size()),
                                                            .name = *device,
                                                            .options = {}});
        }
        const auto isChosen = [&](const CameraDevice& camera) {
            return !device || isCalled(camera, *device);
        };
        const auto files = v4l2Cameras();
        if (const auto camera = std::ranges::find_if(files, isChosen); camera != files.end()) {
            return openV4l2Camera(camera->id);
        }
        if (device && device->starts_with("/")) return openV4l2Camera(*device);
        const auto nodes = pipeWireCameras();
        if (const auto camera = std::ranges::find_if(nodes, isChosen); camera != nodes.end()) {
            return openPipeWireCamera(camera->id);
        }
        return std::unexpected(device ? cameraFailure(*device, ENOENT) : noCamera());
    }
};

} // namespace

std::unique_ptr<CameraSystem> createLinuxCameras() {
    return std::make_unique<LinuxCameras>();
}

} // namespace glintro
