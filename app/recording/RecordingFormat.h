#pragma once

#include "core/media/encode/LiveMovieWriter.h"

namespace glintro {

// What the movies of a take are encoded as.

inline PixelSize evenSize(PixelSize size) {
    return {size.width & ~1, size.height & ~1};
}

// 0.12 bit for each pixel shown, and never less than 8 Mbit a second.
std::int64_t screenBitRate(PixelSize size, int fps);

LiveVideoSettings screenVideo(PixelSize size, int fps, VideoCodec codec);
// The camera is shown small beside the screen: less will do, in proportion to its picture.
LiveVideoSettings cameraVideo(PixelSize size);
// Of the microphone: AAC, 48 kHz, mono.
AudioTrackSettings microphoneSound();

} // namespace glintro
