#include "platform/linux/wayland/FrameRelay.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <utility>

namespace glintro {
namespace {

// Compositors send a little early or late; a picture that is early by less than this share of a frame's time
// takes its slot already.
constexpr double kEarly = 0.25;

void copyRow(std::uint8_t* to, const CastPicture& picture, int row) {
    const std::uint8_t* from = picture.pixels + row * picture.stride;
    const bool redFirst = picture.order == CastPicture::Order::rgbx;
    if (!redFirst && picture.step == 4) {
        std::memcpy(to, from, static_cast<std::size_t>(picture.size.width) * 4);
        return;
    }
    const int blue = redFirst ? 2 : 0, red = 2 - blue;
    for (int x = 0; x < picture.size.width; ++x, to += 4, from += picture.step) {
        to[0] = from[blue];
        to[1] = from[1];
        to[2] = from[red];
        to[3] = from[3];
    }
}

} // namespace

// Buffers that come back by themselves from whichever thread gives up the last reference to one.
class FrameRelay::Pool : public std::enable_shared_from_this<Pool> {
  public:
    using Buffer = std::vector<std::uint8_t>;

    void limit(int count) {
        const std::scoped_lock lock(mutex_);
        limit_ = count;
    }

    // Null while all are in use.
    std::shared_ptr<Buffer> lend() {
        const std::scoped_lock lock(mutex_);
        if (lent_ >= limit_) return nullptr;
        auto buffer = free_.empty() ? std::make_unique<Buffer>() : std::move(free_.back());
        if (!free_.empty()) free_.pop_back();
        ++lent_;
        return {buffer.release(), [pool = shared_from_this()](Buffer* given) { pool->back(given); }};
    }

  private:
    void back(Buffer* given) {
        const std::scoped_lock lock(mutex_);
        free_.emplace_back(given);
        --lent_;
    }

    std::mutex mutex_;
    std::vector<std::unique_ptr<Buffer>> free_;
    int lent_ = 0;
    int limit_ = 1;
};

FrameRelay::FrameRelay() : pool_(std::make_shared<Pool>()) {
    newest_.pixels = pool_->lend();
}

void FrameRelay::take(const CastPicture& picture) {
    const PixelSize size = picture.size;
    const std::size_t rowBytes = static_cast<std::size_t>(size.width) * 4;
    newest_.pixels->resize(rowBytes * static_cast<std::size_t>(size.height));
    for (int y = 0; y < size.height; ++y) {
        copyRow(newest_.pixels->data() + static_cast<std::size_t>(y) * rowBytes, picture, y);
    }
    const bool sameSize = size == last_.size && (!waits_ || size == newest_.size);
    if (sameSize && picture.damage) {
        newest_.changed.addAll(*picture.damage);
    } else {
        newest_.changed = RowSet({0, size.height});
    }
    newest_.size = size;
    newest_.hostTime = picture.hostTime;
    waits_ = true;
    wasCounted_ = false;
}

void FrameRelay::begin(const StreamConfiguration& configuration, StreamHandlers handlers, Seconds now) {
    pool_->limit(configuration.queueDepth + 1); // and the one that is written
    handlers_ = std::move(handlers);
    period_ = 1.0 / configuration.fps;
    nextSlot_ = now;
    lastHanded_ = now;
    newest_.hostTime = std::max(newest_.hostTime, now); // it still shows what was there before the start
    runs_ = true;
}

void FrameRelay::end() {
    runs_ = false;
    handlers_ = {};
}

std::optional<Seconds> FrameRelay::deliver(Seconds now) {
    if (!runs_) return std::nullopt;
    if (waits_) {
        const Seconds due = nextSlot_ - kEarly * period_;
        if (now < due) return due;
        nextSlot_ = std::max(nextSlot_, now) + period_;
        if (handNewest()) lastHanded_ = now;
    } else if (last_.pixels && now >= lastHanded_ + ScreenStream::kRepeatInterval) {
        hand(last_, now, {});
        lastHanded_ = now;
    }
    if (waits_) return nextSlot_;
    return lastHanded_ + ScreenStream::kRepeatInterval;
}

// The buffer that is written goes out, so another must be there to be written next.
bool FrameRelay::handNewest() {
    last_.pixels.reset();
    auto next = pool_->lend();
    if (!next) {
        if (!std::exchange(wasCounted_, true) && handlers_.dropped) handlers_.dropped();
        return false;
    }
    last_ = std::exchange(newest_, Picture{newest_.size, std::move(next), 0, {}});
    waits_ = false;
    hand(last_, last_.hostTime, last_.changed);
    return true;
}

void FrameRelay::hand(const Picture& picture, Seconds time, const RowSet& changed) {
    lastTime_ = std::max(time, lastTime_);
    ScreenFrame frame;
    frame.size = picture.size;
    frame.bgra = picture.pixels->data();
    frame.stride = picture.size.width * 4;
    frame.hostTime = lastTime_;
    frame.changed = changed.ranges();
    frame.storage = picture.pixels;
    handlers_.frame(std::move(frame));
}

} // namespace glintro
