#include "tests/platform/linux/wayland/MutterRemote.h"

#include <cstdarg>
#include <stdexcept>

#include "tests/support/WaitUntil.h"

namespace glintro::test {
namespace {

constexpr const char* kRemote = "org.gnome.Mutter.RemoteDesktop";
constexpr const char* kRemoteSession = "org.gnome.Mutter.RemoteDesktop.Session";
constexpr const char* kCast = "org.gnome.Mutter.ScreenCast";
constexpr const char* kCastSession = "org.gnome.Mutter.ScreenCast.Session";
constexpr const char* kCastStream = "org.gnome.Mutter.ScreenCast.Stream";

std::string pathIn(const BusMessage& reply) {
    const char* path = "";
    sd_bus_message_read(reply.get(), "o", &path);
    return path;
}

} // namespace

MutterRemote::MutterRemote() {
    sd_bus* opened = nullptr;
    if (sd_bus_open_user(&opened) < 0) throw std::runtime_error("no session bus");
    bus_.reset(opened);
    remote_ = pathIn(call(kRemote, "/org/gnome/Mutter/RemoteDesktop", kRemote, "CreateSession"));
    call(kRemote, remote_, kRemoteSession, "Start");
}

BusMessage MutterRemote::call(const char* destination, const std::string& path, const char* interface,
                              const char* method, const char* types, ...) {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    std::va_list arguments;
    va_start(arguments, types);
    const int code = sd_bus_call_methodv(bus_.get(), destination, path.c_str(), interface, method, &error,
                                         &reply, types, arguments);
    va_end(arguments);
    const std::string why = error.message ? error.message : "";
    sd_bus_error_free(&error);
    if (code < 0) throw std::runtime_error(std::string(method) + ": " + why);
    return BusMessage(reply);
}

void MutterRemote::movePointerTo(double x, double y) {
    call(kRemote, remote_, kRemoteSession, "NotifyPointerMotionRelative", "dd", -10000.0, -10000.0);
    call(kRemote, remote_, kRemoteSession, "NotifyPointerMotionRelative", "dd", x, y);
}

std::uint32_t MutterRemote::shareFrontWindow() {
    const std::string session =
        pathIn(call(kCast, "/org/gnome/Mutter/ScreenCast", kCast, "CreateSession", "a{sv}", 0));
    std::string stream;
    // A window that was shown just now becomes the one in front a little later.
    const auto hasOne = [&] {
        try {
            // Cursor mode 2 is metadata in mutter's own counting.
            stream =
                pathIn(call(kCast, session, kCastSession, "RecordWindow", "a{sv}", 1, "cursor-mode", "u", 2));
        } catch (const std::runtime_error&) {
        }
        return !stream.empty();
    };
    if (!waitUntil(hasOne)) throw std::runtime_error("mutter finds no window in front");
    sd_bus_slot* slot = nullptr;
    const auto added = [](sd_bus_message* message, void* node, sd_bus_error*) {
        return sd_bus_message_read(message, "u", static_cast<std::uint32_t*>(node));
    };
    sd_bus_match_signal(bus_.get(), &slot, kCast, stream.c_str(), kCastStream, "PipeWireStreamAdded", added,
                        &node_);
    const BusSlot watched(slot);
    call(kCast, session, kCastSession, "Start");
    while (node_ == 0) {
        const int code = sd_bus_process(bus_.get(), nullptr);
        if (code == 0 && sd_bus_wait(bus_.get(), 10'000'000) <= 0)
            throw std::runtime_error("mutter shares no window");
        if (code < 0) throw std::runtime_error("the session bus is gone");
    }
    return node_;
}

} // namespace glintro::test
