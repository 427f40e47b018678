#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <xcb/xcb.h>

#include "core/base/Geometry.h"
#include "platform/RowSet.h"

namespace glintro {

// Where rows of a picture are on the server: the picture's top left corner would be (x, y) of the drawable.
struct X11Source {
    xcb_drawable_t drawable = XCB_NONE;
    int x = 0;
    int y = 0;
    RowRange rows;
};

// One after the other, they have all rows of a picture.
using X11Sources = std::vector<X11Source>;

// The memory of one picture, shared with the server where that is possible.
class X11FrameBuffer {
  public:
    // Null when there is not enough memory.
    static std::shared_ptr<X11FrameBuffer> create(xcb_connection_t* connection, PixelSize size);
    ~X11FrameBuffer();
    X11FrameBuffer(const X11FrameBuffer&) = delete;
    X11FrameBuffer& operator=(const X11FrameBuffer&) = delete;

    const std::uint8_t* pixels() const { return pixels_; }
    std::ptrdiff_t stride() const { return static_cast<std::ptrdiff_t>(size_.width) * 4; }

    // Fetches rows of a picture to their places. False when the server could not give them: the rows are then
    // of either picture.
    bool grab(xcb_connection_t* connection, const X11Sources& sources, const RowSet& rows);

    // Tells the server to forget the memory, which stays for those who still read it.
    void detach(xcb_connection_t* connection);

    // How many frames that show the pixels are still held. Raised by the stream's thread, lowered on any.
    std::atomic<int> readers = 0;
    // Where the pixels are older than the picture delivered last.
    RowSet stale;

  private:
    X11FrameBuffer(PixelSize size, std::uint8_t* pixels, std::uint32_t segment)
        : size_(size), pixels_(pixels), segment_(segment) {}
    bool grabShared(xcb_connection_t* connection, const X11Sources& bands);
    bool grabSent(xcb_connection_t* connection, const X11Sources& bands);

    PixelSize size_;
    std::uint8_t* pixels_;
    std::uint32_t segment_; // 0: the server sends the pixels through the connection
};

} // namespace glintro
