#include "tests/platform/linux/wayland/WaylandWindow.h"

#include <array>
#include <cstring>
#include <stdexcept>

#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "tests/support/WaylandSession.h"

namespace glintro::test {
namespace {

constexpr std::uint32_t kDisplay = 1;

std::vector<std::uint32_t> words(const std::string& text) {
    std::vector<std::uint32_t> result(1 + text.size() / 4 + 1);
    result[0] = static_cast<std::uint32_t>(text.size() + 1);
    std::memcpy(result.data() + 1, text.data(), text.size());
    return result;
}

} // namespace

WaylandWindow::WaylandWindow(PixelSize size) : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = environmentOf("XDG_RUNTIME_DIR") + "/" + environmentOf("WAYLAND_DISPLAY");
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::connect(socket_.value(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error("no compositor at " + path);
    }
    send(kDisplay, 1, {registry_ = nextId_++}); // get_registry
    roundTrip();
    compositor_ = bind("wl_compositor", 4);
    shm_ = bind("wl_shm", 1);
    wmBase_ = bind("xdg_wm_base", 1);
    surface_ = nextId_++;
    xdgSurface_ = nextId_++;
    toplevel_ = nextId_++;
    send(compositor_, 0, {surface_});          // create_surface
    send(wmBase_, 2, {xdgSurface_, surface_}); // get_xdg_surface
    send(xdgSurface_, 1, {toplevel_});         // get_toplevel
    send(toplevel_, 2, words("Painted"));      // set_title
    const bool fills = size.width == 0;
    if (fills) send(toplevel_, 11, {0}); // set_fullscreen
    send(surface_, 6, {});               // commit
    while (configured_ == 0) receive();
    allocate(fills ? proposed_ : size);
}

WaylandWindow::~WaylandWindow() {
    if (pixels_) ::munmap(pixels_, bytes_);
}

void WaylandWindow::allocate(PixelSize size) {
    if (pixels_) ::munmap(pixels_, bytes_);
    size_ = size;
    bytes_ = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height) * 4;
    memory_ = FileDescriptor(::memfd_create("painted", MFD_CLOEXEC));
    void* mapped = MAP_FAILED;
    if (::ftruncate(memory_.value(), static_cast<off_t>(bytes_)) == 0) {
        mapped = ::mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED, memory_.value(), 0);
    }
    if (mapped == MAP_FAILED) throw std::runtime_error("no memory for a window");
    pixels_ = static_cast<std::uint32_t*>(mapped);
    pool_ = nextId_++;
    send(shm_, 0, {pool_, static_cast<std::uint32_t>(bytes_)}, memory_.value()); // create_pool
}

void WaylandWindow::show(const std::vector<Patch>& patches) {
    const auto width = static_cast<std::uint32_t>(size_.width),
               height = static_cast<std::uint32_t>(size_.height);
    for (const Patch& patch : patches) {
        for (int y = patch.where.y; y < patch.where.bottom(); ++y) {
            std::fill_n(pixels_ + y * size_.width + patch.where.x, patch.where.width, patch.colour);
        }
    }
    const std::uint32_t buffer = nextId_++;
    send(pool_, 0, {buffer, 0, width, height, width * 4, 1}); // create_buffer, XRGB8888
    send(surface_, 1, {buffer, 0, 0});                        // attach
    send(surface_, 2, {0, 0, width, height});                 // damage
    send(surface_, 6, {});                                    // commit
    roundTrip();
}

void WaylandWindow::resize(PixelSize size, std::uint32_t colour) {
    allocate(size);
    show({{{0, 0, size.width, size.height}, colour}});
}

std::uint32_t WaylandWindow::bind(const std::string& interface, std::uint32_t version) {
    if (!globals_.contains(interface)) throw std::runtime_error("the compositor lacks " + interface);
    Words arguments = {globals_[interface]};
    const Words name = words(interface);
    arguments.insert(arguments.end(), name.begin(), name.end());
    arguments.insert(arguments.end(), {version, nextId_});
    send(registry_, 0, arguments);
    return nextId_++;
}

void WaylandWindow::roundTrip() {
    awaited_ = nextId_++;
    send(kDisplay, 0, {awaited_}); // sync
    while (awaited_ != 0) receive();
}

void WaylandWindow::send(std::uint32_t object, std::uint32_t request, const Words& arguments,
                         int descriptor) {
    Words message = {object, static_cast<std::uint32_t>((arguments.size() + 2) * 4) << 16 | request};
    message.insert(message.end(), arguments.begin(), arguments.end());
    iovec data{message.data(), message.size() * 4};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr header{};
    header.msg_iov = &data;
    header.msg_iovlen = 1;
    if (descriptor >= 0) {
        header.msg_control = control.data();
        header.msg_controllen = control.size();
        cmsghdr* passed = CMSG_FIRSTHDR(&header);
        passed->cmsg_level = SOL_SOCKET;
        passed->cmsg_type = SCM_RIGHTS;
        passed->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(passed), &descriptor, sizeof descriptor);
    }
    if (::sendmsg(socket_.value(), &header, MSG_NOSIGNAL) < 0)
        throw std::runtime_error("the compositor hung up");
}

void WaylandWindow::receive() {
    std::array<std::uint32_t, 2> head{};
    if (::recv(socket_.value(), head.data(), 8, MSG_WAITALL) != 8)
        throw std::runtime_error("the compositor hung up");
    Words body((head[1] >> 16) / 4 - 2);
    if (!body.empty()) ::recv(socket_.value(), body.data(), body.size() * 4, MSG_WAITALL);
    handle(head[0], head[1] & 0xFFFF, body);
}

void WaylandWindow::handle(std::uint32_t object, std::uint32_t event, const Words& body) {
    if (object == kDisplay && event == 0) throw std::runtime_error("the compositor refused a request");
    if (object == registry_ && event == 0) globals_[reinterpret_cast<const char*>(body.data() + 2)] = body[0];
    if (object == awaited_) awaited_ = 0;
    if (object == wmBase_) send(wmBase_, 3, {body[0]}); // a ping wants its pong
    if (object == toplevel_ && event == 0) proposed_ = {static_cast<int>(body[0]), static_cast<int>(body[1])};
    if (object == xdgSurface_) {
        configured_ = body[0];
        send(xdgSurface_, 4, {configured_}); // ack_configure
    }
}

} // namespace glintro::test
