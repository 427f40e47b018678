#pragma once

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "app/recording/CaptureEngine.h"
#include "tests/app/recording/FakeSources.h"
#include "tests/core/media/MediaTools.h"
#include "tests/support/SharedLog.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

namespace glintro::test {

// The times of a movie's frames, as another program reads them.
inline std::vector<Seconds> frameTimes(const std::filesystem::path& movie) {
    std::istringstream lines(run({"ffprobe", "-v", "error", "-select_streams", "v", "-show_entries",
                                  "packet=pts_time", "-of", "csv=p=0", movie.string()}));
    std::vector<Seconds> times;
    for (std::string line; std::getline(lines, line);) times.push_back(std::stod(line));
    std::ranges::sort(times);
    return times;
}

inline Seconds trackDuration(const std::filesystem::path& movie, const std::string& track) {
    return std::stod(probe(movie, track, "duration"));
}

// A take with sources that the test plays.
class TakeFixture {
  public:
    explicit TakeFixture(CaptureSettings settings, std::filesystem::path reel = {})
        : screen(settings.pixelSize), settings_(settings), reel_(std::move(reel)) {
        if (reel_.empty()) reel_ = temporary_.path();
        auto made = TakeJournal::create(reel_);
        if (!made) throw std::runtime_error(made.error().message);
        journal_ = *std::move(made);
        engine = std::make_unique<CaptureEngine>(reel_, sound, cameras, *journal_);
        engine->onError = [this](const Failure& failure) { errors_.add(failure.message); };
        engine->onNotice = [this](const std::string& sentence) { notices_.add(sentence); };
    }

    Result<void> start() {
        auto made = std::make_unique<FakeStream>(settings_.pixelSize);
        stream = made.get();
        if (auto prepared = engine->prepare(std::move(made), settings_); !prepared) return prepared;
        return engine->start();
    }

    // Waits until the engine has converted the frame or left it out.
    void show(ScreenFrame frame) {
        const std::weak_ptr<const void> pixels = frame.storage;
        stream->show(std::move(frame));
        ASSERT_TRUE(waitUntil([&] { return pixels.expired(); }));
    }
    void show(int grey, Seconds hostTime) {
        screen.paint(grey);
        show(screen.whole(hostTime));
    }

    void showCamera(PixelSize size, int luma, Seconds hostTime) {
        const auto pixels = cameras.show(size, luma, hostTime);
        ASSERT_TRUE(waitUntil([&] { return pixels.expired(); }));
    }

    // After the stop: what the journal tells.
    std::optional<TakeRecord> record() {
        journal_.reset();
        return TakeJournal::read(reel_);
    }
    std::vector<std::string> errors() const { return errors_.all(); }
    std::vector<std::string> notices() const { return notices_.all(); }
    std::filesystem::path rawMovie() const { return reel_ / "raw.mov"; }
    std::filesystem::path cameraMovie() const { return reel_ / "camera.mov"; }
    const std::filesystem::path& reel() const { return reel_; }

    Screen screen;
    FakeSound sound;
    FakeCameras cameras;
    FakeStream* stream = nullptr; // the engine's, from start() on

  private:
    TemporaryFolder temporary_;
    CaptureSettings settings_;
    std::filesystem::path reel_;
    std::unique_ptr<TakeJournal> journal_;
    SharedLog<std::string> errors_;
    SharedLog<std::string> notices_;

  public:
    std::unique_ptr<CaptureEngine> engine; // last: its threads use all of the above
};

} // namespace glintro::test
