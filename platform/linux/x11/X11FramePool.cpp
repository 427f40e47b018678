#include "platform/linux/x11/X11FramePool.h"

#include <algorithm>

namespace glintro {
namespace {

// Fetching a few rows too many costs less than one more request.
constexpr int kBridgedRows = 8;

int rowCount(const RowSet& rows) {
    int count = 0;
    for (const RowRange& range : rows.ranges()) count += range.end - range.begin;
    return count;
}

} // namespace

X11FramePool::X11FramePool(xcb_connection_t* connection, PixelSize size, int depth)
    : connection_(connection), size_(size), depth_(static_cast<std::size_t>(std::max(depth, 1))) {}

X11FramePool::~X11FramePool() {
    for (const auto& buffer : buffers_) buffer->detach(connection_);
}

X11FrameBuffer* X11FramePool::acquireFree() {
    X11FrameBuffer* best = nullptr;
    for (const auto& buffer : buffers_) {
        if (buffer->readers.load(std::memory_order_acquire) > 0) continue;
        if (best == nullptr || rowCount(buffer->stale) < rowCount(best->stale)) best = buffer.get();
    }
    if (best != nullptr || buffers_.size() == depth_) return best;
    auto made = X11FrameBuffer::create(connection_, size_);
    return made ? buffers_.emplace_back(std::move(made)).get() : nullptr;
}

std::optional<RowSet> X11FramePool::fetch(X11FrameBuffer& buffer, const X11Sources& sources,
                                          const RowSet& changed) {
    RowSet rows = buffer.stale;
    rows.add(changed);
    rows = rows.bridged(kBridgedRows);
    buffer.stale = RowSet({0, size_.height});
    if (latest_ == &buffer) latest_ = nullptr;
    if (!buffer.grab(connection_, sources, rows)) return std::nullopt;
    return rows;
}

ScreenFrame X11FramePool::publish(X11FrameBuffer& buffer, const RowSet& changed, Seconds hostTime) {
    for (const auto& other : buffers_) other->stale.add(changed);
    buffer.stale.clear();
    latest_ = &buffer;
    latestLease_.reset();
    ScreenFrame frame = frameOf(buffer, hostTime);
    frame.changed = changed.ranges();
    return frame;
}

std::optional<ScreenFrame> X11FramePool::repeat(Seconds hostTime) {
    if (latest_ == nullptr) return std::nullopt;
    return frameOf(*latest_, hostTime);
}

ScreenFrame X11FramePool::frameOf(X11FrameBuffer& buffer, Seconds hostTime) {
    std::shared_ptr<const void> lease = latestLease_.lock();
    if (!lease) lease = leaseOf(buffer);
    latestLease_ = lease;
    return {size_, buffer.pixels(), buffer.stride(), hostTime, {}, std::move(lease)};
}

std::shared_ptr<const void> X11FramePool::leaseOf(X11FrameBuffer& buffer) {
    const auto owner = std::ranges::find(buffers_, &buffer, [](const auto& each) { return each.get(); });
    buffer.readers.fetch_add(1, std::memory_order_relaxed);
    return {buffer.pixels(),
            [kept = *owner](const void*) { kept->readers.fetch_sub(1, std::memory_order_release); }};
}

} // namespace glintro
