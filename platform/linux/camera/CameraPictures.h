#pragma once

#include <optional>

#include "platform/Camera.h"
#include "platform/linux/camera/AvHandles.h"

namespace glintro {

// Brings decoded pictures of any size, pixel format, matrix and range into the form of a CameraFrame, in
// buffers that are used again. A picture that does not say its matrix and range is BT.601 and limited, as
// what cameras send raw, or full when its format says so, as JPEG's does. One thread at a time.
class CameraPictures {
  public:
    // Nothing when memory is short or the picture has a format that cannot be converted.
    std::optional<CameraFrame> convert(const AVFrame& picture, Seconds hostTime);

  private:
    bool prepareScaler(const AVFrame& picture);
    void preparePool(PixelSize size);

    AvScaler scaler_;
    AvPool pool_;
    PixelSize poolSize_;
};

} // namespace glintro
