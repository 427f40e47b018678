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
            const std::scoped_lock lock(mutex_);
            handlers_ = std::move(handlers);
        }
        for (ScreenFrame& frame : atOnce) show(std::move(frame));
        return {};
    }
    void stop() override {
        const std::scoped_lock lock(mutex_);
        handlers_ = {};
    }

    void show(ScreenFrame frame) {
        const std::scoped_lock lock(mutex_);
        if (handlers_.frame) handlers_.frame(std::move(frame));
    }
    void end(const Failure& failure) {
        const std::scoped_lock lock(mutex_);
        if (handlers_.stopped) handlers_.stopped(failure);
    }

    std::vector<ScreenFrame> atOnce; // what comes while it is being started

  private:
    std::mutex mutex_;
    StreamHandlers handlers_; // guarded by mutex_
    PixelSize size_;
    NoPointer pointer_;
};

// The one device of its kind: a test plays what it hears or sees.
template <class Device, class Sample>
class FakeDevice {
  public:
    void unplug() {
        const std::scoped_lock lock(mutex_);
        if (lost_) lost_({"It was unplugged."});
        sampled_ = nullptr;
    }
    bool isRunning() {
        const std::scoped_lock lock(mutex_);
        return lost_ != nullptr;
    }

    bool exists = true;
    std::atomic<int> openings = 0;

  protected:
    Result<std::unique_ptr<Device>> open(const char* whyNone) {
        if (!exists) return failure(whyNone);
        ++openings;
        return std::make_unique<Opened>(*this);
    }
    void give(Sample sample) {
        const std::scoped_lock lock(mutex_);
        if (sampled_) sampled_(std::forward<Sample>(sample));
    }

  private:
    using Handler = std::function<void(Sample)>;
    using LossHandler = std::function<void(Failure)>;

    struct Opened : Device {
        explicit Opened(FakeDevice& from) : of(from) {}
        Result<void> start(Handler sampled, LossHandler lost) override {
            of.set(std::move(sampled), std::move(lost));
            return {};
        }
        void stop() override { of.set(nullptr, nullptr); }
        FakeDevice& of;
    };
    void set(Handler sampled, LossHandler lost) {
        const std::scoped_lock lock(mutex_);
        sampled_ = std::move(sampled);
        lost_ = std::move(lost);
    }

    std::mutex mutex_;
    Handler sampled_;  // guarded by mutex_
    LossHandler lost_; // guarded by mutex_
};

class FakeSound : public SoundSystem, public FakeDevice<Microphone, const SoundBlock&> {
  public:
    Result<std::vector<SoundDevice>> microphones() override { return std::vector<SoundDevice>{}; }
    Result<std::unique_ptr<SoundOutput>> openOutput(int) override { return failure("No output."); }
    Result<std::unique_ptr<Microphone>> openMicrophone(std::optional<std::string>) override {
        return open("No microphone was found.");
    }

    void speak(std::span<const float> samples, Seconds hostTime) { give({samples, hostTime}); }
};

class FakeCameras : public CameraSystem, public FakeDevice<Camera, CameraFrame> {
  public:
    Result<std::vector<CameraDevice>> cameras() override { return std::vector<CameraDevice>{}; }
    Result<std::unique_ptr<Camera>> openCamera(std::optional<std::string>) override {
        return open("No camera was found.");
    }

    // The pixels, which live as long as somebody uses the picture.
    std::weak_ptr<const void> show(PixelSize size, int luma, Seconds hostTime) {
        const auto bytes = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
        auto pixels = std::make_shared<std::vector<std::uint8_t>>(bytes * 2, std::uint8_t{128});
        std::fill_n(pixels->begin(), bytes, static_cast<std::uint8_t>(luma));
        const std::uint8_t* chroma = pixels->data() + bytes;
        const std::ptrdiff_t half = (size.width + 1) / 2;
        give({size, {pixels->data(), chroma, chroma}, {size.width, half, half}, hostTime, pixels});
        return pixels;
    }
};

} // namespace glintro::test
