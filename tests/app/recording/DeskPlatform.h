#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/HostClock.h"
#include "platform/Platform.h"
#include "tests/app/recording/FakeSources.h"

// A system whose screen is painted here: real frames at real times, and the troubles a test asks for.
namespace glintro::test {

// What the next stream is like.
struct DeskTrouble {
    bool hasAccess = true;
    std::optional<Failure> opening;  // why no stream opens
    bool asksForEver = false;        // opening waits until it is taken back
    std::optional<Failure> starting; // why the stream does not start
    std::optional<Failure> dying;    // how it ends after a second
    bool isBlank = false;            // no frame ever comes
    bool pointerIsEmbedded = false;
    std::optional<std::string> whyNoPresses;
};

class DeskPointer final : public PointerSource {
  public:
    explicit DeskPointer(const DeskTrouble& trouble) : trouble_(trouble) {}

    Result<void> start(PressHandler pressed) override {
        pressed({PointerPress::Button::left, {110, 70}, hostTime() + 0.2});
        return {};
    }
    void stop() override {}
    std::optional<Point> position() override { return Point{110, 70}; }
    std::optional<std::string> whyNoPresses() const override { return trouble_.whyNoPresses; }

  private:
    const DeskTrouble trouble_;
};

// 321 × 241 pixels of one shade, another one in each frame; 60 frames a second.
class DeskStream final : public ScreenStream {
  public:
    static inline std::atomic<int> made = 0;
    static inline std::atomic<int> alive = 0;
    static inline std::atomic<std::thread::id> lastEndedOn;

    explicit DeskStream(const DeskTrouble& trouble) : trouble_(trouble), pointer_(trouble) {
        ++made;
        ++alive;
    }
    ~DeskStream() override {
        stop();
        lastEndedOn = std::this_thread::get_id();
        --alive;
    }

    PixelSize pixelSize() const override { return {321, 241}; }
    Rect frame() const override { return {10, 20, 200, 100}; }
    PointerSource& pointer() override { return pointer_; }
    bool pointerIsEmbedded() const override { return trouble_.pointerIsEmbedded; }

    Result<void> start(const StreamConfiguration& configuration, StreamHandlers handlers) override {
        if (trouble_.starting) return std::unexpected(*trouble_.starting);
        thread_ = std::jthread([this, configuration, handlers = std::move(handlers)](
                                   const std::stop_token& stop) { run(stop, configuration, handlers); });
        return {};
    }
    void stop() override { thread_ = {}; }

  private:
    void run(const std::stop_token& stop, const StreamConfiguration& configuration,
             const StreamHandlers& handlers) {
        const auto begun = hostTime();
        for (int number = 0; !stop.stop_requested(); ++number) {
            if (trouble_.dying && hostTime() - begun > 1) return handlers.stopped(*trouble_.dying);
            if (!trouble_.isBlank) handlers.frame(picture(number));
            std::this_thread::sleep_for(std::chrono::milliseconds(1000 / configuration.fps));
        }
    }

    ScreenFrame picture(int number) const {
        const auto [width, height] = pixelSize();
        auto pixels = std::make_shared<std::vector<std::uint8_t>>(width * height * 4,
                                                                  static_cast<std::uint8_t>(number * 3));
        return {.size = pixelSize(),
                .bgra = pixels->data(),
                .stride = width * 4,
                .hostTime = hostTime(),
                .changed = {{0, height}},
                .storage = pixels};
    }

    const DeskTrouble trouble_;
    DeskPointer pointer_;
    std::jthread thread_;
};

class DeskScreen final : public ScreenCapture {
  public:
    bool hasAccess() override { return trouble.hasAccess; }
    Result<ShareableContent> content() override { return shared; }
    Result<std::unique_ptr<ScreenStream>> open(const ContentFilter& filter, std::stop_token cancel) override {
        opened = filter;
        ++openings;
        if (trouble.asksForEver) {
            std::mutex mutex;
            std::unique_lock guard(mutex);
            std::condition_variable_any().wait(guard, cancel, [] { return false; });
            return std::unexpected(Failure::cancelled());
        }
        isHanging.wait(true);
        if (trouble.opening) return std::unexpected(*trouble.opening);
        return std::make_unique<DeskStream>(trouble);
    }

    void forgetChoice() override { isForgotten = true; }

    void answer() {
        isHanging = false;
        isHanging.notify_all();
    }

    bool isForgotten = false;
    std::atomic<bool> isHanging = false; // opening waits, whatever is asked of it
    DeskTrouble trouble;
    ShareableContent shared{
        .displays = {{1, "HDMI-1", {0, 0, 1920, 1080}, 1}, {2, "", {1920, 0, 1280, 720}, 1}},
        .windows = {{7, "Notes", "Editor", 100, 0, {2000, 100, 400, 300}}}};
    ContentFilter opened;
    std::atomic<int> openings = 0;
};

class KeylessDesk final : public HotKeySource {
  public:
    Result<void> listen(const KeyCombination&, HotKeyHandlers) override { return failure("No keys."); }
    void stop() override {}
};

class PlainDesk final : public DesktopPictureSource {
  public:
    std::optional<DesktopPicture> picture() override { return std::nullopt; }
};

class DeskPlatform final : public Platform {
  public:
    DeskScreen& screen() override { return screen_; }
    FakeSound& sound() override { return sound_; }
    FakeCameras& cameras() override { return cameras_; }
    HotKeySource& hotKey() override { return hotKey_; }
    DesktopPictureSource& desktopPicture() override { return picture_; }

  private:
    DeskScreen screen_;
    FakeSound sound_;
    FakeCameras cameras_;
    KeylessDesk hotKey_;
    PlainDesk picture_;
};

} // namespace glintro::test
