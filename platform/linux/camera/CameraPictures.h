#pragma once

#include <optional>

#include "core/media/FFmpegHandles.h"
#include "platform/Camera.h"

namespace glintro {

// Brings decoded pictures of any size, pixel format, matrix and range into the form of a CameraFrame, in
// buffers that are used again. All have the size of the first: a later one of another size is scaled to cover
// it, and loses what reaches beyond on two sides. A picture that does not tell its matrix and range is BT.601
// and limited, as what cameras send raw, or full when its format says so, as JPEG's does. One thread at a
// time.
class CameraPictures {
  public:
    // `nullopt` when memory is short or the picture has a format that cannot be converted.
    std::optional<CameraFrame> convert(const AVFrame& picture, Seconds hostTime);

  private:
    bool crop(const AVFrame& picture);
    bool prepareScaler(const AVFrame& picture);
    std::shared_ptr<AVBufferRef> newBuffer();

    PixelSize size_; // of all frames, once there was one
    FramePtr cropped_ = newFrame();
    ScalerPtr scaler_;
    BufferPoolPtr pool_;
};

} // namespace glintro
