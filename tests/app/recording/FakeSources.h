#pragma once

#include <atomic>
#include <cmath>
#include <cstdint>
#include <memory>
#include <mutex>
#include <numbers>
#include <span>
#include <utility>
#include <vector>

#include "platform/Camera.h"
#include "platform/HostClock.h"
#include "platform/ScreenStream.h"
#include "platform/Sound.h"

// Sources that give what a test tells them to, when it tells them to.
namespace glintro::test {

class NoPointer : public PointerSource {
  public:
    Result<void> start(PressHandler) override { return {}; }
    void stop() override {}
    std::optional<Point> position() override { return std::nullopt; }
};

// A screen of B, G, R, x bytes that a test paints on.
struct Screen {
    explicit Screen(PixelSize extent) : size(extent), pixels(bytesOf(extent), 128) {}

    static std::size_t bytesOf(PixelSize extent) {
        return static_cast<std::size_t>(extent.width) * static_cast<std::size_t>(extent.height) * 4;
    }
    // Paints rows [begin, end) grey.
    void paint(RowRange rows, int grey) {
        const auto row = static_cast<std::ptrdiff_t>(size.width) * 4;
        std::fill(pixels.begin() + rows.begin * row, pixels.begin() + rows.end * row,
                  static_cast<std::uint8_t>(grey));
    }
    void paint(int grey) { paint({0, size.height}, grey); }

    // The picture as it is now. A row range that is not told of is not changed.
    ScreenFrame frame(Seconds hostTime, std::vector<RowRange> changed) const {
        auto copy = std::make_shared<std::vector<std::uint8_t>>(pixels);
        return {size,     copy->data(),       static_cast<std::ptrdiff_t>(size.width) * 4,
                hostTime, std::move(changed), copy};
    }
    ScreenFrame whole(Seconds hostTime) const { return frame(hostTime, {{0, size.height}}); }

    PixelSize size;
    std::vector<std::uint8_t> pixels;
};

class FakeStream : public ScreenStream {
  public:
    explicit FakeStream(PixelSize size) : size_(size) {}

    PixelSize pixelSize() const override { return size_; }
    Rect frame() const override {
        return {0, 0, static_cast<double>(size_.width), static_cast<double>(size_.height)};
    }
    PointerSource& pointer() override { return pointer_; }
    Result<void> start(const StreamConfiguration&, StreamHandlers handlers) override {
        {
            const std::lock_guard guard(lock_);
            handlers_ = std::move(handlers);
        }
        for (ScreenFrame& frame : atOnce) show(std::move(frame));
        return {};
    }
    void stop() override {
        const std::lock_guard guard(lock_);
        handlers_ = {};
    }

    void show(ScreenFrame frame) {
        const std::lock_guard guard(lock_);
        if (handlers_.frame) handlers_.frame(std::move(frame));
    }
    void end(const Failure& failure) {
        const std::lock_guard guard(lock_);
        if (handlers_.stopped) handlers_.stopped(failure);
    }

    std::vector<ScreenFrame> atOnce; // what comes while it is being started

  private:
    std::mutex lock_;
    StreamHandlers handlers_; // guarded by lock_
    PixelSize size_;
    NoPointer pointer_;
};

// The one microphone of a sound system; a test speaks into it.
class FakeSound : public SoundSystem {
  public:
    Result<std::vector<SoundDevice>> microphones() override { return std::vector<SoundDevice>{}; }
    Result<std::unique_ptr<SoundOutput>> openOutput(int) override { return failure("No output."); }
    Result<std::unique_ptr<Microphone>> openMicrophone(std::optional<std::string>) override {
        if (!exists) return failure("No microphone was found.");
        ++openings;
        return std::make_unique<Device>(*this);
    }

    void speak(std::span<const float> samples, Seconds hostTime) {
        const std::lock_guard guard(lock_);
        if (heard_) heard_({samples, hostTime});
    }
    void unplug() {
        const std::lock_guard guard(lock_);
        if (lost_) lost_({"The microphone was unplugged."});
        heard_ = nullptr;
    }
    bool isRunning() {
        const std::lock_guard guard(lock_);
        return lost_ != nullptr;
    }

    bool exists = true;
    std::atomic<int> openings = 0;

  private:
    struct Device : Microphone {
        explicit Device(FakeSound& of) : system(of) {}
        Result<void> start(std::function<void(const SoundBlock&)> heard,
                           std::function<void(Failure)> lost) override {
            const std::lock_guard guard(system.lock_);
            system.heard_ = std::move(heard);
            system.lost_ = std::move(lost);
            return {};
        }
        void stop() override {
            const std::lock_guard guard(system.lock_);
            system.heard_ = nullptr;
            system.lost_ = nullptr;
        }
        FakeSound& system;
    };

    std::mutex lock_;
    std::function<void(const SoundBlock&)> heard_; // guarded by lock_
    std::function<void(Failure)> lost_;            // guarded by lock_
};

// The one camera; a test stands before it.
class FakeCameras : public CameraSystem {
  public:
    Result<std::vector<CameraDevice>> cameras() override { return std::vector<CameraDevice>{}; }
    Result<std::unique_ptr<Camera>> openCamera(std::optional<std::string>) override {
        if (!exists) return failure("No camera was found.");
        ++openings;
        return std::make_unique<Device>(*this);
    }

    // The pixels, which live as long as somebody uses the picture.
    std::weak_ptr<const void> show(PixelSize size, int luma, Seconds hostTime) {
        const auto bytes = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
        auto pixels = std::make_shared<std::vector<std::uint8_t>>(bytes * 2, std::uint8_t{128});
        std::fill_n(pixels->begin(), bytes, static_cast<std::uint8_t>(luma));
        const std::uint8_t* chroma = pixels->data() + bytes;
        const std::ptrdiff_t half = (size.width + 1) / 2;
        const std::lock_guard guard(lock_);
        if (seen_)
            seen_({size, {pixels->data(), chroma, chroma}, {size.width, half, half}, hostTime, pixels});
        return pixels;
    }
    void unplug() {
        const std::lock_guard guard(lock_);
        if (lost_) lost_({"The camera was unplugged."});
        seen_ = nullptr;
    }
    bool isRunning() {
        const std::lock_guard guard(lock_);
        return lost_ != nullptr;
    }

    bool exists = true;
    std::atomic<int> openings = 0;

  private:
    struct Device : Camera {
        explicit Device(FakeCameras& of) : system(of) {}
        Result<void> start(std::function<void(CameraFrame)> seen,
                           std::function<void(Failure)> lost) override {
            const std::lock_guard guard(system.lock_);
            system.seen_ = std::move(seen);
            system.lost_ = std::move(lost);
            return {};
        }
        void stop() override {
            const std::lock_guard guard(system.lock_);
            system.seen_ = nullptr;
            system.lost_ = nullptr;
        }
        FakeCameras& system;
    };

    std::mutex lock_;
    std::function<void(CameraFrame)> seen_; // guarded by lock_
    std::function<void(Failure)> lost_;     // guarded by lock_
};

} // namespace glintro::test
