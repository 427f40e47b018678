#include "platform/linux/x11/X11FrameBuffer.h"

#include <cstring>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <xcb/shm.h>

#include "platform/linux/x11/X11Connection.h"

namespace glintro {
namespace {

constexpr std::uint32_t kAllPlanes = ~std::uint32_t{0};

std::size_t byteCount(PixelSize size) {
    return static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height) * 4;
}

// The file behind a new segment of the server's, or -1. Its memory is claimed now, because touching memory
// that a full /dev/shm cannot give would kill the process later.
int createSegment(xcb_connection_t* connection, std::uint32_t segment, std::size_t bytes) {
    if (!hasX11Extension(connection, xcb_shm_id)) return -1;
    const auto cookie = xcb_shm_create_segment(connection, segment, static_cast<std::uint32_t>(bytes), 0);
    const X11Reply<xcb_shm_create_segment_reply_t> reply(
        xcb_shm_create_segment_reply(connection, cookie, nullptr));
    if (!reply || reply->nfd != 1) return -1;
    const int file = xcb_shm_create_segment_reply_fds(connection, reply.get())[0];
    ::fcntl(file, F_SETFD, FD_CLOEXEC);
    if (::posix_fallocate(file, 0, static_cast<off_t>(bytes)) == 0) return file;
    ::close(file);
    xcb_shm_detach(connection, segment);
    return -1;
}

std::uint8_t* map(int file, std::size_t bytes) {
    const int flags = file < 0 ? MAP_PRIVATE | MAP_ANONYMOUS : MAP_SHARED;
    void* memory = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, flags, file, 0);
    return memory == MAP_FAILED ? nullptr : static_cast<std::uint8_t*>(memory);
}

// The part of the drawable that a band of full width is.
xcb_rectangle_t partOf(const X11Source& band, int width) {
    return {static_cast<std::int16_t>(band.x), static_cast<std::int16_t>(band.y + band.rows.begin),
            static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(band.rows.end - band.rows.begin)};
}

} // namespace

std::shared_ptr<X11FrameBuffer> X11FrameBuffer::create(xcb_connection_t* connection, PixelSize size) {
    std::uint32_t segment = xcb_generate_id(connection);
    const int file = createSegment(connection, segment, byteCount(size));
    std::uint8_t* pixels = map(file, byteCount(size));
    if (file < 0) segment = 0;
    if (file >= 0) ::close(file);
    if (pixels == nullptr) return nullptr;
    std::shared_ptr<X11FrameBuffer> buffer(new X11FrameBuffer(size, pixels, segment));
    buffer->stale.add(RowRange{0, size.height});
    return buffer;
}

X11FrameBuffer::~X11FrameBuffer() {
    ::munmap(pixels_, byteCount(size_));
}

void X11FrameBuffer::detach(xcb_connection_t* connection) {
    if (segment_ != 0) xcb_shm_detach(connection, segment_);
    segment_ = 0;
}

bool X11FrameBuffer::grab(xcb_connection_t* connection, const X11Sources& sources, const RowSet& rows) {
    X11Sources bands;
    for (X11Source source : sources) {
        const RowSet wanted = rows.intersected(RowSet(source.rows));
        for (const RowRange& band : wanted.ranges()) {
            source.rows = band;
            bands.push_back(source);
        }
    }
    return segment_ != 0 ? grabShared(connection, bands) : grabSent(connection, bands);
}

// All requests go out before the first reply is waited for: one way to the server and back for all bands.
bool X11FrameBuffer::grabShared(xcb_connection_t* connection, const X11Sources& bands) {
    std::vector<xcb_shm_get_image_cookie_t> cookies;
    for (const X11Source& band : bands) {
        const xcb_rectangle_t part = partOf(band, size_.width);
        cookies.push_back(xcb_shm_get_image(connection, band.drawable, part.x, part.y, part.width,
                                            part.height, kAllPlanes, XCB_IMAGE_FORMAT_Z_PIXMAP, segment_,
                                            static_cast<std::uint32_t>(band.rows.begin * stride())));
    }
    bool isComplete = true;
    for (const xcb_shm_get_image_cookie_t cookie : cookies) {
        const X11Reply<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(connection, cookie, nullptr));
        isComplete = isComplete && reply;
    }
    return isComplete;
}

bool X11FrameBuffer::grabSent(xcb_connection_t* connection, const X11Sources& bands) {
    std::vector<xcb_get_image_cookie_t> cookies;
    for (const X11Source& band : bands) {
        const xcb_rectangle_t part = partOf(band, size_.width);
        cookies.push_back(xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, band.drawable, part.x, part.y,
                                        part.width, part.height, kAllPlanes));
    }
    bool isComplete = true;
    for (std::size_t i = 0; i < cookies.size(); ++i) {
        const X11Reply<xcb_get_image_reply_t> reply(xcb_get_image_reply(connection, cookies[i], nullptr));
        const RowRange& rows = bands[i].rows;
        const auto bytes = static_cast<std::size_t>((rows.end - rows.begin) * stride());
        const bool arrived =
            reply && static_cast<std::size_t>(xcb_get_image_data_length(reply.get())) >= bytes;
        if (arrived) std::memcpy(pixels_ + rows.begin * stride(), xcb_get_image_data(reply.get()), bytes);
        isComplete = isComplete && arrived;
    }
    return isComplete;
}

} // namespace glintro
