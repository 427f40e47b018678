#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/ScreenStream.h"

namespace glintro::test {

// What a stream has handed over: the last picture, and of each the time and the rows.
class FrameLog {
  public:
    struct Entry {
        PixelSize size;
        Seconds hostTime = 0;
        std::vector<RowRange> changed;
    };

    StreamHandlers handlers() {
        return {.frame = [this](const ScreenFrame& frame) { add(frame); },
                .stopped =
                    [this](const Failure& why) {
                        const std::scoped_lock lock(mutex_);
                        ends_.push_back(why);
                    },
                .dropped = {}};
    }

    std::vector<Entry> entries() {
        const std::scoped_lock lock(mutex_);
        return entries_;
    }
    std::vector<Failure> ends() {
        const std::scoped_lock lock(mutex_);
        return ends_;
    }
    // 0xRRGGBB of the last picture; `nullopt` outside of it.
    std::optional<std::uint32_t> colourAt(int x, int y) {
        const std::scoped_lock lock(mutex_);
        if (!last_.storage || x >= last_.size.width || y >= last_.size.height) return std::nullopt;
        const std::uint8_t* pixel = last_.bgra + y * last_.stride + x * 4;
        return static_cast<std::uint32_t>(pixel[2] << 16 | pixel[1] << 8 | pixel[0]);
    }

  private:
    void add(const ScreenFrame& frame) {
        const std::scoped_lock lock(mutex_);
        entries_.push_back({frame.size, frame.hostTime, frame.changed});
        last_ = frame;
    }

    std::mutex mutex_;
    std::vector<Entry> entries_;
    std::vector<Failure> ends_;
    ScreenFrame last_;
};

} // namespace glintro::test
