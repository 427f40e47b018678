#pragma once

#include <cstdint>
#include <cstring>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/ScreenStream.h"
#include "tests/support/WaitUntil.h"

namespace glintro::test {

// Watches a stream's frames from the outside: keeps a copy of the picture to which only the rows are applied
// that each frame says have changed, and holds it against the frame.
class FrameWatch {
  public:
    // Every frame that has a pixel of the forbidden colour (0xRRGGBB) counts as wrong.
    explicit FrameWatch(ScreenStream& stream, int fps = 60, int queueDepth = 6,
                        std::optional<std::uint32_t> forbidden = std::nullopt)
        : stream_(stream), forbidden_(forbidden) {
        const Result<void> started =
            stream.start({fps, queueDepth}, {[this](ScreenFrame frame) { take(std::move(frame)); },
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

    // 0xRRGGBB; nothing outside of the picture.
    std::optional<std::uint32_t> pixel(int x, int y) const {
        const std::scoped_lock lock(mutex_);
        if (x < 0 || y < 0 || x >= size_.width || y >= size_.height) return std::nullopt;
        return at(x, y);
    }
    bool shows(int x, int y, std::uint32_t colour) const {
        return waitUntil([&] { return pixel(x, y) == colour; });
    }
    bool hasSize(PixelSize size) const {
        return waitUntil([&] { return this->size() == size; });
    }
    // Whether it comes to show just these rows of B, G, R, x.
    bool showsAll(const std::vector<std::uint8_t>& picture) const {
        return waitUntil([&] { return isSame(picture); });
    }

    PixelSize size() const {
        const std::scoped_lock lock(mutex_);
        return size_;
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
    void take(ScreenFrame frame) {
        const std::scoped_lock lock(mutex_);
        if (frame.hostTime < lastTime_) wrong_ = "a frame is older than the one before it";
        lastTime_ = frame.hostTime;
        ++frames_;
        if (frame.changed.empty()) ++repeats_;
        apply(frame);
        for (int y = 0; y < size_.height; ++y) {
            const std::uint8_t* row = frame.bgra + y * frame.stride;
            if (std::memcmp(row, copy_.data() + y * rowBytes(), rowBytes()) != 0) {
                wrong_ = "row " + std::to_string(y) + " differs without being told to in frame "
                         + std::to_string(frames_);
            }
        }
        if (forbidden_ && contains(*forbidden_)) wrong_ = "a frame shows what it must not";
        keep(std::move(frame));
    }

    // As an encoder does, now more and now fewer frames at a time: the stream has to take its buffers in
    // turns.
    void keep(ScreenFrame frame) {
        held_.push_back(std::move(frame));
        const std::size_t kept = isHeld_ ? held_.size() : static_cast<std::size_t>(frames_ % 4);
        while (held_.size() > kept) held_.pop_front();
    }

    void apply(const ScreenFrame& frame) {
        if (frame.size != size_) {
            size_ = frame.size;
            copy_.assign(rowBytes() * static_cast<std::size_t>(size_.height), 0);
            if (frame.changed != std::vector<RowRange>{{0, size_.height}}) {
                wrong_ = "the first frame of a size does not say that all of it is new";
            }
        }
        int end = -1;
        for (const RowRange& range : frame.changed) {
            if (range.begin <= end || range.begin >= range.end || range.end > size_.height) {
                wrong_ = "the changed rows are out of order";
                return;
            }
            end = range.end;
            for (int y = range.begin; y < range.end; ++y) {
                std::memcpy(copy_.data() + y * rowBytes(), frame.bgra + y * frame.stride, rowBytes());
            }
        }
    }

    std::size_t rowBytes() const { return static_cast<std::size_t>(size_.width) * 4; }
    std::uint32_t at(int x, int y) const {
        const std::uint8_t* bytes = copy_.data() + y * rowBytes() + static_cast<std::size_t>(x) * 4;
        return static_cast<std::uint32_t>(bytes[0] | bytes[1] << 8 | bytes[2] << 16);
    }
    bool contains(std::uint32_t colour) const {
        for (int y = 0; y < size_.height; ++y) {
            for (int x = 0; x < size_.width; ++x) {
                if (at(x, y) == colour) return true;
            }
        }
        return false;
    }
    bool isSame(const std::vector<std::uint8_t>& picture) const {
        const std::scoped_lock lock(mutex_);
        if (picture.size() != copy_.size()) return false;
        for (std::size_t i = 0; i < copy_.size(); ++i) {
            if (i % 4 != 3 && copy_[i] != picture[i]) return false;
        }
        return true;
    }

    ScreenStream& stream_;
    mutable std::mutex mutex_; // of all below
    PixelSize size_;
    std::vector<std::uint8_t> copy_;
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
