#include "app/recording/RecordingFormat.h"

#include <algorithm>

#include "platform/Sound.h"

namespace glintro {
namespace {

constexpr double kBitsPerPixel = 0.12;
constexpr int kCameraFps = 30;

std::int64_t proportionalBitRate(PixelSize size, int fps) {
    return static_cast<std::int64_t>(static_cast<double>(std::int64_t{size.width} * size.height * fps)
                                     * kBitsPerPixel);
}

} // namespace

std::int64_t screenBitRate(PixelSize size, int fps) {
    return std::max<std::int64_t>(proportionalBitRate(size, fps), 8'000'000);
}

LiveVideoSettings screenVideo(PixelSize size, int fps, VideoCodec codec) {
    const PixelSize even = evenSize(size);
    return {
        .size = even, .fps = fps, .bitRate = screenBitRate(even, fps), .codec = codec, .keyFrameSpacing = 2};
}

LiveVideoSettings cameraVideo(PixelSize size) {
    const PixelSize even = evenSize(size);
    const auto bitRate =
        std::clamp<std::int64_t>(proportionalBitRate(even, kCameraFps), 2'000'000, 8'000'000);
    return {
        .size = even, .fps = kCameraFps, .bitRate = bitRate, .codec = VideoCodec::h264, .keyFrameSpacing = 2};
}

AudioTrackSettings microphoneSound() {
    return {.sampleRate = kSoundRate, .channels = 1, .bitRate = 128'000};
}

} // namespace glintro
