#pragma once

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bench/core/media/Recording.h"
#include "core/reel/Project.h"
#include "platform/Sound.h"
#include "tests/support/TemporaryFolder.h"

// The reels that the player is measured with: short recordings of 2560 × 1600 at 60 frames a second whose
// packets are repeated by FFmpeg's copying (-stream_loop), so that an hour is made in seconds.
namespace glintro::bench {

inline void repeatMovie(const std::filesystem::path& movie, int times, const std::filesystem::path& file) {
    const std::string command = "ffmpeg -v error -nostdin -y -stream_loop " + std::to_string(times - 1)
                                + " -i '" + movie.string() + "' -map 0 -c copy '" + file.string() + "'";
    if (std::system(command.c_str()) != 0) std::abort();
}

inline RecordingEvents movingPointer(Seconds duration, int samples) {
    RecordingEvents events{.duration = duration};
    for (int i = 0; i < samples; ++i) {
        const Seconds time = i * duration / samples;
        events.cursor.push_back({{time, 0.5 + 0.4 * std::sin(time), 0.5 + 0.4 * std::cos(time * 0.7)}});
    }
    for (Seconds time = 0.5; time < duration; time += 2) events.clicks.push_back({{time, 0.25, 0.75}});
    return events;
}

// A reel in a folder of its own whose movie stands there already.
inline Project reelOf(const std::filesystem::path& folder, Seconds duration, int samples, bool hasAudio) {
    if (!writeEvents(movingPointer(duration, samples), folder / "events.json")) std::abort();
    ProjectInfo info;
    info.duration = duration;
    info.width = kSize.width;
    info.height = kSize.height;
    info.hasAudio = hasAudio;
    info.settings.zooms = {{.start = 10, .end = 15, .scale = 2}, {.start = 31, .end = 36, .scale = 1.6}};
    return Project(folder, info);
}

// A minute that scrolls every other second, with a tone.
inline const Project& busyReel() {
    static const TemporaryFolder folder;
    static const Project reel = [] {
        repeatMovie(Recording::file(), 6, folder / "raw.mov");
        return reelOf(folder.path(), 6 * kSeconds, 3600, true);
    }();
    return reel;
}

// Large shapes only, so that an hour of it is small.
inline PicturePtr calmPage() {
    PictureBuffer buffer(PixelLayout::yuv420, kSize);
    for (int i = 0; i < 3; ++i) {
        const MutablePlaneView plane = buffer.plane(i);
        for (int y = 0; y < plane.height; ++y)
            for (int x = 0; x < plane.width; ++x)
                plane.row(y)[x] = static_cast<std::uint8_t>(i > 0 ? 128 : 40 + (x / 320 + y / 160) % 7 * 30);
    }
    return share(std::move(buffer));
}

// An hour of a still page, 216,000 frames, with 400,000 pointer samples.
inline const Project& hourReel() {
    static const TemporaryFolder folder;
    static const Project reel = [] {
        constexpr int kPart = 20;
        auto writer = MovieWriter::create(folder / "part.mov",
                                          {kSize, kFps, 4'000'000, 2 * kFps, "ultrafast"}, std::nullopt);
        if (!writer) std::abort();
        const PicturePtr picture = calmPage();
        for (int i = 0; i < kFps * kPart; ++i)
            if (!(*writer)->writeFrame(*picture, i)) std::abort();
        if (!(*writer)->finish()) std::abort();
        repeatMovie(folder / "part.mov", 3600 / kPart, folder / "raw.mov");
        std::filesystem::remove(folder / "part.mov");
        return reelOf(folder.path(), 3600, 400'000, false);
    }();
    return reel;
}

// Asks for sound as a sound card does: 10 ms of it every 10 ms, 50 ms ahead.
class PacedOutput final : public SoundOutput {
  public:
    Result<void> start(Source source) override {
        thread_ = std::jthread([source = std::move(source)](const std::stop_token& stop) {
            std::vector<float> block(2 * kSoundRate / 100);
            for (auto next = std::chrono::steady_clock::now(); !stop.stop_requested();
                 next += std::chrono::milliseconds(10)) {
                std::this_thread::sleep_until(next);
                source(block);
            }
        });
        return {};
    }
    void stop() override { thread_ = {}; }
    Seconds latency() const override { return 0.05; }

  private:
    std::jthread thread_;
};

} // namespace glintro::bench
