#pragma once

#include <spa/buffer/buffer.h>
#include <spa/param/video/raw.h>
#include <spa/pod/builder.h>

#include "core/media/FFmpegHandles.h"

namespace glintro {

// The raw pictures a PipeWire camera may send: up to 1920 x 1080 at 30 a second. The pod lies in the
// builder's memory.
const spa_pod* offeredCameraFormats(spa_pod_builder& builder);

// Makes the picture refer to the pixels in the buffer; false when they are not all there.
bool viewPicture(AVFrame& picture, const spa_buffer& buffer, const spa_video_info_raw& format);

} // namespace glintro
