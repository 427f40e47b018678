#pragma once

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <vector>

#include "core/media/encode/LiveMovieWriter.h"
#include "core/reel/TakeJournal.h"

// Takes as a process that died leaves them.
namespace glintro::test {

inline constexpr int kTakeFps = 20;

// Keeps a made-up take: frame n is shown at n / 20 s, with a tone of half a second for each ten of them, and
// a click at every whole second.
class TakeMaker {
  public:
    enum class Sound { none, tone };

    TakeMaker(const std::filesystem::path& movie, Sound sound) : picture_(PixelLayout::yuv420, kSize) {
        const LiveVideoSettings video{.size = kSize, .fps = kTakeFps, .bitRate = 400'000};
        const AudioTrackSettings audio{48000, 1, 128'000};
        auto made =
            LiveMovieWriter::create(movie, video, sound == Sound::tone ? std::optional(audio) : std::nullopt);
        if (!made) throw std::runtime_error(made.error().message);
        writer_ = *std::move(made);
        sound_ = sound;
    }

    Seconds end() const { return static_cast<Seconds>(frames_) / kTakeFps; }

    void writeFrame() {
        std::ranges::fill(block_, frames_ % 2 == 0 ? 0.1F : -0.1F);
        if (!writer_->writeFrame(picture_.view(), end())) throw std::runtime_error("no frame");
        if (sound_ == Sound::tone && !writer_->writeAudio(block_)) throw std::runtime_error("no sound");
        ++frames_;
    }
    void writeFrames(int count) {
        for (int i = 0; i < count; ++i) writeFrame();
    }
    void finish() {
        if (!writer_->finish(end())) throw std::runtime_error("not finished");
    }

  private:
    static constexpr PixelSize kSize{160, 100};

    PictureBuffer picture_;
    std::vector<float> block_ = std::vector<float>(48000 / kTakeFps);
    std::unique_ptr<LiveMovieWriter> writer_;
    Sound sound_ = Sound::none;
    int frames_ = 0;
};

} // namespace glintro::test
