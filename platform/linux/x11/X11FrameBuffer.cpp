#include "platform/linux/x11/X11FrameBuffer.h"

#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <xcb/shm.h>

#include "core/base/FileDescriptor.h"
#include "platform/linux/x11/X11Connection.h"

namespace glintro {
namespace {

constexpr std::uint32_t kAllPlanes = ~std::uint32_t{0};

std::size_t byteCount(PixelSize size) {
    return static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height) * 4;
}

// Memory that can be handed to another process, if there is enough. It is claimed now, because touching
// memory that the system cannot give would kill the process later.
FileDescriptor createFile(std::size_t bytes) {
    FileDescriptor file(::memfd_create("frame", MFD_CLOEXEC));
    if (file.isOpen() && ::posix_fallocate(file.value(), 0, static_cast<off_t>(bytes)) != 0)
        return FileDescriptor();
    return file;
}

std::uint8_t* map(const FileDescriptor& file, std::size_t bytes) {
    void* memory = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, file.value(), 0);
    return memory == MAP_FAILED ? nullptr : static_cast<std::uint8_t*>(memory);
}

// A connection through the network cannot carry a file, and breaks when it shall.
bool canPassFiles(xcb_connection_t* connection) {
    sockaddr_storage peer{};
    socklen_t length = sizeof peer;
    const int descriptor = xcb_get_file_descriptor(connection);
    return ::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &length) == 0
           && peer.ss_family == AF_UNIX;
}

bool acceptsFiles(xcb_connection_t* connection) {
    if (!hasX11Extension(connection, xcb_shm_id) || !canPassFiles(connection)) return false;
    const X11Reply<xcb_shm_query_version_reply_t> version(
        xcb_shm_query_version_reply(connection, xcb_shm_query_version(connection), nullptr));
    return version && std::pair<int, int>(version->major_version, version->minor_version) >= std::pair(1, 2);
}

// The server's name for the memory behind the file, which is given away; 0 when they cannot share it. Memory
// that the server makes would come as a file along with a reply, and libxcb abandons the connection when such
// a reply has more events before it than it reads at a time.
std::uint32_t share(xcb_connection_t* connection, FileDescriptor file) {
    if (!acceptsFiles(connection)) return 0;
    const std::uint32_t segment = xcb_generate_id(connection);
    const auto cookie = xcb_shm_attach_fd_checked(connection, segment, file.release(), 0);
    const X11Reply<xcb_generic_error_t> error(xcb_request_check(connection, cookie));
    return error ? 0 : segment;
}

// The part of the drawable that a band of full width is.
xcb_rectangle_t partOf(const X11Source& band, int width) {
    return {static_cast<std::int16_t>(band.x), static_cast<std::int16_t>(band.y + band.rows.begin),
            static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(band.rows.end - band.rows.begin)};
}

} // namespace

std::shared_ptr<X11FrameBuffer> X11FrameBuffer::create(xcb_connection_t* connection, PixelSize size) {
    FileDescriptor file = createFile(byteCount(size));
    if (!file.isOpen()) return nullptr;
    std::uint8_t* pixels = map(file, byteCount(size));
    if (pixels == nullptr) return nullptr;
    std::shared_ptr<X11FrameBuffer> buffer(
        new X11FrameBuffer(size, pixels, share(connection, std::move(file))));
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
    cookies.reserve(bands.size());
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
    cookies.reserve(bands.size());
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
