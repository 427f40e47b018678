#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"

namespace glintro {

struct CameraDevice {
    std::string id;   // the system's identifier, for example "/dev/video0"
    std::string name; // for the user
    bool isDefault = false;
    bool operator==(const CameraDevice&) const = default;
};

// One picture in planes Y', Cb, Cr of ITU-R BT.709, limited range, 8 bits; both chroma planes have half the
// width and height, rounded up.
struct CameraFrame {
    PixelSize size;
    std::array<const std::uint8_t*, 3> planes{};
    std::array<std::ptrdiff_t, 3> strides{};
    Seconds hostTime = 0;                // when the camera saw it
    std::shared_ptr<const void> storage; // keeps the planes alive and unchanged
};

// A camera that was found. Records between start and stop, in its best mode up to 1920 x 1080 at 30 pictures
// a second. All pictures between a start and its stop have the size of the first: a camera that changes its
// size meanwhile is scaled to cover that.
class Camera {
  public:
    virtual ~Camera() = default;

    // Handlers are called on one thread of the camera's. `lost` is called at most once, after the last
    // picture.
    [[nodiscard]] virtual Result<void> start(std::function<void(CameraFrame)> seen,
                                             std::function<void(Failure)> lost) = 0;
    // No handler runs any more when this returns. Not from a handler.
    virtual void stop() = 0;
};

class CameraSystem {
  public:
    virtual ~CameraSystem() = default;

    [[nodiscard]] virtual Result<std::vector<CameraDevice>> cameras() = 0;
    // By id or by name; the default one when absent.
    [[nodiscard]] virtual Result<std::unique_ptr<Camera>> openCamera(std::optional<std::string> device) = 0;
};

} // namespace glintro
