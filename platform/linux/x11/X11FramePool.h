#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "core/base/Geometry.h"
#include "platform/ScreenStream.h"
#include "platform/linux/x11/X11FrameBuffer.h"

namespace glintro {

// The buffers that a stream's pictures of one size use in turn. A buffer lags behind by what has changed
// since its last turn, so a grab fetches those rows too and leaves the rest where it is. For one thread; the
// frames may be released on any.
class X11FramePool {
  public:
    // The connection must outlive the pool. At most `depth` buffers are made, each when it is first needed.
    X11FramePool(xcb_connection_t* connection, PixelSize size, int depth);
    ~X11FramePool();
    X11FramePool(const X11FramePool&) = delete;
    X11FramePool& operator=(const X11FramePool&) = delete;

    PixelSize size() const { return size_; }

    // The free buffer with the fewest rows to fetch; null while all are in use or memory is short.
    X11FrameBuffer* acquireFree();

    // Makes the buffer's rows what the sources show: those in `changed` and those it lags behind by. The rows
    // that were fetched, or `nullopt` when the server could not give them; the buffer then lags behind in
    // all.
    std::optional<RowSet> fetch(X11FrameBuffer& buffer, const X11Sources& sources, const RowSet& changed);

    // Makes it the latest picture, which differs from the one before in `changed`.
    ScreenFrame publish(X11FrameBuffer& buffer, const RowSet& changed, Seconds hostTime);
    // The latest picture again; `nullopt` before the first one.
    std::optional<ScreenFrame> repeat(Seconds hostTime);

  private:
    ScreenFrame frameOf(X11FrameBuffer& buffer, Seconds hostTime);
    std::shared_ptr<const void> leaseOf(X11FrameBuffer& buffer);

    xcb_connection_t* connection_;
    PixelSize size_;
    std::size_t depth_;
    std::vector<std::shared_ptr<X11FrameBuffer>> buffers_;
    X11FrameBuffer* latest_ = nullptr;
    std::weak_ptr<const void> latestLease_; // of the latest picture, while somebody still has it
};

} // namespace glintro
