#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/ScreenStream.h"
#include "tests/support/PictureCopy.h"
#include "tests/support/WaitUntil.h"

namespace glintro::test {

// Watches a stream's frames from the outside, and holds each against the rows that were said to have changed.
class FrameWatch {
  public:
    // Every frame that has a pixel of the forbidden colour (0xRRGGBB) counts as wrong.
    explicit FrameWatch(ScreenStream& stream, int fps = 60, int queueDepth = 6,
                        std::optional<std::uint32_t> forbidden = std::nullopt)
        : stream_(stream), forbidden_(forbidden) {
        const Result<void> started =
            stream.start({fps, queueDepth}, {[this](ScreenFrame frame) { accept(std::move(frame)); },
                                             [this](Failure failure) {
                                                 const std::scoped_lock lock(mutex_);
                                                 stopped_.push_back(std::move(failure));
                                             },
                                             [this] {
                                                 const std::scoped_lock lock(mutex_);
                                                 ++dropped_;
                                             }});
        if (!started) stopped_.push_back(started.error());
    }
    ~FrameWatch() { stream_.stop(); }
    FrameWatch(const FrameWatch&) = delete;
    FrameWatch& operator=(const FrameWatch&) = delete;

    // 0xRRGGBB; `nullopt` outside of the picture.
    std::optional<std::uint32_t> pixel(int x, int y) const {
        const std::scoped_lock lock(mutex_);
        return copy_.pixel(x, y);
    }
    bool shows(int x, int y, std::uint32_t colour) const {
        return waitUntil([&] { return pixel(x, y) == colour; });
    }
    bool hasSize(PixelSize size) const {
        return waitUntil([&] { return this->size() == size; });
    }
    // Whether it comes to show just these rows of B, G, R, x.
    bool showsAll(const std::vector<std::uint8_t>& picture) const {
        return waitUntil([&] {
            const std::scoped_lock lock(mutex_);
            return copy_.is(picture);
        });
    }

    PixelSize size() const {
        const std::scoped_lock lock(mutex_);
        return copy_.size();
    }
    int frames() const {
        const std::scoped_lock lock(mutex_);
        return frames_;
    }
    // Frames that said nothing had changed.
    int repeats() const {
        const std::scoped_lock lock(mutex_);
        return repeats_;
    }
    int dropped() const {
        const std::scoped_lock lock(mutex_);
        return dropped_;
    }
    std::vector<Failure> stopped() const {
        const std::scoped_lock lock(mutex_);
        return stopped_;
    }
    // Empty while it runs.
    std::string whyStopped() const {
        const std::scoped_lock lock(mutex_);
        if (stopped_.empty()) return {};
        return stopped_.front().message + " " + stopped_.front().detail + " "
               + std::to_string(stopped_.front().nativeCode);
    }
    // What was wrong with a frame by itself; empty when all were right.
    std::string wrong() const {
        const std::scoped_lock lock(mutex_);
        return wrong_;
    }

    // From now on.
    void forbid(std::uint32_t colour) {
        const std::scoped_lock lock(mutex_);
        forbidden_ = colour;
    }
    // Frames are kept and not given back until told otherwise.
    void hold(bool isHeld) {
        const std::scoped_lock lock(mutex_);
        isHeld_ = isHeld;
        if (!isHeld) held_.clear();
    }

  private:
    void accept(ScreenFrame frame) {
        const std::scoped_lock lock(mutex_);
        if (frame.hostTime < lastTime_) wrong_ = "a frame is older than the one before it";
        lastTime_ = frame.hostTime;
        ++frames_;
        if (frame.changed.empty()) ++repeats_;
        if (const std::string wrong = copy_.apply(frame); !wrong.empty())
            wrong_ = wrong + " in frame " + std::to_string(frames_);
        if (forbidden_ && copy_.contains(*forbidden_)) wrong_ = "a frame shows what it must not";
        keep(std::move(frame));
    }

    // As an encoder does, now more and now fewer frames at a time: the stream has to use its buffers in
    // turn.
    void keep(ScreenFrame frame) {
        held_.push_back(std::move(frame));
        const std::size_t kept = isHeld_ ? held_.size() : static_cast<std::size_t>(frames_ % 4);
        while (held_.size() > kept) held_.pop_front();
    }

    ScreenStream& stream_;
    mutable std::mutex mutex_; // of all below
    PictureCopy copy_;
    std::vector<Failure> stopped_;
    std::deque<ScreenFrame> held_;
    std::optional<std::uint32_t> forbidden_;
    std::string wrong_;
    Seconds lastTime_ = 0;
    int frames_ = 0;
    int repeats_ = 0;
    int dropped_ = 0;
    bool isHeld_ = false;
};

} // namespace glintro::test
