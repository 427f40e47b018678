#pragma once

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

#include "core/media/decode/AudioMix.h"
#include "core/media/encode/MovieWriter.h"

namespace glintro::bench {

inline constexpr int kFps = 60;
inline constexpr int kSeconds = 10;
inline constexpr PixelSize kSize{2560, 1600};

// Lines as of text, scrolled by `scroll` rows.
inline PicturePtr page(PixelSize size, int scroll) {
    PictureBuffer buffer(PixelLayout::yuv420, size);
    for (int i = 0; i < 3; ++i) {
        const MutablePlaneView plane = buffer.plane(i);
        for (int y = 0; y < plane.height; ++y) {
            const int line = y + scroll;
            for (int x = 0; x < plane.width; ++x) {
                const bool isInk = i == 0 && line % 24 < 12 && (x * 7 + line / 24 * 131) % 29 < 11;
                plane.row(y)[x] = static_cast<std::uint8_t>(i > 0 ? 128 : isInk ? 40 : 230);
            }
        }
    }
    return share(std::move(buffer));
}

// A recording of 2560 × 1600 at 60 frames a second that scrolls every other second, with a tone and a key
// frame every two seconds, as takes have them. Made once, removed at the end.
class Recording {
  public:
    static const std::filesystem::path& file() {
        static const Recording recording;
        return recording.file_;
    }

  private:
    Recording()
        : file_(std::filesystem::temp_directory_path()
                / ("media_bench-" + std::to_string(::getpid()) + ".mov")) {
        auto writer = MovieWriter::create(file_, {kSize, kFps, 20'000'000, 2 * kFps, "ultrafast"},
                                          AudioTrackSettings{});
        if (!writer) std::abort();
        std::vector<float> sound(2 * AudioMix::kSampleRate / kFps);
        for (std::size_t i = 0; i < sound.size(); ++i)
            sound[i] = 0.2F * std::sin(static_cast<float>(i) * 0.05F);
        PicturePtr picture = page(kSize, 0);
        for (int i = 0; i < kFps * kSeconds; ++i) {
            if (i / kFps % 2 == 1) picture = page(kSize, 4 * i);
            if (!(*writer)->writeFrame(*picture, i) || !(*writer)->writeAudio(sound)) std::abort();
        }
        if (!(*writer)->finish()) std::abort();
    }
    ~Recording() { std::filesystem::remove(file_); }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    std::filesystem::path file_;
};

} // namespace glintro::bench
