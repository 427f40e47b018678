#pragma once

#include "core/media/FFmpegHandles.h"

// What FFmpeg's pixel formats say about colours.
namespace glintro {

// The format whose samples lie in memory in the same way, without the word on their range that the formats
// named "yuvj" carry; other formats as they are. `format` is an AVPixelFormat, as frames hold it.
AVPixelFormat plainFormat(int format);

// Whether the samples use all values of their type, by the frame's word or by its format.
bool isFullRange(const AVFrame& frame);

} // namespace glintro
