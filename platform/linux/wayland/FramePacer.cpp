#include "platform/linux/wayland/FramePacer.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <utility>

namespace glintro {
namespace {

// Compositors send a little early or late: a picture that is early by less than this share of a frame's time
// is delivered at once.
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

// The pixels of one picture, without padding between its rows.
struct FramePacer::Buffer {
    std::vector<std::uint8_t> pixels;
    PixelSize size;
    RowSet outdated; // where it differs from the picture accepted last; meaningful for a buffer of its size
};

// Buffers that come back by themselves from whichever thread drops the last reference to one.
class FramePacer::Pool : public std::enable_shared_from_this<Pool> {
  public:
    void limit(int count) {
        const std::scoped_lock lock(mutex_);
        limit_ = count;
    }

    // Null while all are in use.
    std::shared_ptr<Buffer> lend() {
        const std::scoped_lock lock(mutex_);
        if (lent_ >= limit_) return nullptr;
        if (free_.empty()) {
            buffers_.push_back(std::make_unique<Buffer>());
            free_.push_back(buffers_.back().get());
        }
        Buffer* buffer = free_.back(); // the one used last: the fewest rows of it are outdated
        free_.pop_back();
        ++lent_;
        return {buffer, [pool = shared_from_this()](Buffer* returned) { pool->accept(returned); }};
    }

    // A picture that differs from the one before in these rows makes all buffers that much older.
    void outdate(const RowSet& damage) {
        const std::scoped_lock lock(mutex_);
        for (const auto& buffer : buffers_) buffer->outdated.add(damage);
    }

  private:
    void accept(Buffer* returned) {
        const std::scoped_lock lock(mutex_);
        free_.push_back(returned);
        --lent_;
    }

    std::mutex mutex_;
    std::vector<std::unique_ptr<Buffer>> buffers_; // all, also those in use
    std::vector<Buffer*> free_;
    int lent_ = 0;
    int limit_ = 1;
};

FramePacer::FramePacer() : pool_(std::make_shared<Pool>()) {
    newest_.buffer = pool_->lend();
}

void FramePacer::accept(const CastPicture& picture) {
    const PixelSize size = picture.size;
    RowSet damage({0, size.height});
    if (picture.damage && size == newest_.size) {
        damage.clear();
        damage.addAll(*picture.damage);
    }
    copy(picture, damage);
    if (size == last_.size && size == newest_.size) {
        newest_.changed.add(damage);
    } else {
        newest_.changed = RowSet({0, size.height});
    }
    newest_.size = size;
    newest_.hostTime = picture.hostTime;
    isWaiting_ = true;
    wasCounted_ = false;
}

void FramePacer::copy(const CastPicture& picture, const RowSet& damage) {
    Buffer& buffer = *newest_.buffer;
    const std::size_t rowBytes = static_cast<std::size_t>(picture.size.width) * 4;
    pool_->outdate(damage);
    if (buffer.size != picture.size) {
        buffer.size = picture.size;
        buffer.pixels.resize(rowBytes * static_cast<std::size_t>(picture.size.height));
        buffer.outdated = RowSet({0, picture.size.height});
    }
    // Pictures of another size may have come meanwhile.
    const RowSet rows = buffer.outdated.intersected(RowSet({0, picture.size.height}));
    for (const RowRange& range : rows.ranges()) {
        for (int y = range.begin; y < range.end; ++y)
            copyRow(buffer.pixels.data() + static_cast<std::size_t>(y) * rowBytes, picture, y);
        copiedRows_ += range.end - range.begin;
    }
    buffer.outdated.clear();
}

void FramePacer::begin(const StreamConfiguration& configuration, StreamHandlers handlers, Seconds now) {
    pool_->limit(configuration.queueDepth + 1); // and the one that is written
    handlers_ = std::move(handlers);
    period_ = 1.0 / configuration.fps;
    nextSlot_ = now;
    lastHanded_ = now;
    newest_.hostTime = std::max(newest_.hostTime, now); // it still shows what was there before the start
    isRunning_ = true;
}

void FramePacer::end() {
    isRunning_ = false;
    handlers_ = {};
}

std::optional<Seconds> FramePacer::deliver(Seconds now) {
    if (!isRunning_) return std::nullopt;
    if (isWaiting_) {
        const Seconds due = nextSlot_ - kEarly * period_;
        if (now < due) return due;
        nextSlot_ = std::max(nextSlot_, now) + period_;
        if (handNewest()) lastHanded_ = now;
    } else if (last_.buffer && now >= lastHanded_ + ScreenStream::kRepeatInterval) {
        hand(last_, now, {});
        lastHanded_ = now;
    }
    if (isWaiting_) return nextSlot_;
    return lastHanded_ + ScreenStream::kRepeatInterval;
}

// The buffer that is written goes out, so another must be there to be written next.
bool FramePacer::handNewest() {
    last_.buffer.reset();
    auto next = pool_->lend();
    if (!next) {
        if (!std::exchange(wasCounted_, true) && handlers_.dropped) handlers_.dropped();
        return false;
    }
    last_ = std::exchange(newest_, Picture{newest_.size, std::move(next), 0, {}});
    isWaiting_ = false;
    hand(last_, last_.hostTime, last_.changed);
    return true;
}

void FramePacer::hand(const Picture& picture, Seconds time, const RowSet& changed) {
    lastTime_ = std::max(time, lastTime_);
    ScreenFrame frame;
    frame.size = picture.size;
    frame.bgra = picture.buffer->pixels.data();
    frame.stride = std::ptrdiff_t{picture.size.width} * 4;
    frame.hostTime = lastTime_;
    frame.changed = changed.ranges();
    frame.storage = picture.buffer;
    handlers_.frame(std::move(frame));
}

} // namespace glintro
