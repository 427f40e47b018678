#include "platform/linux/wayland/PortalBus.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include <poll.h>

namespace glintro {
namespace {

constexpr const char* kPortal = "org.freedesktop.portal.Desktop";
constexpr const char* kPortalPath = "/org/freedesktop/portal/desktop";
constexpr const char* kRequest = "org.freedesktop.portal.Request";

constexpr const char* kNoBus =
    "The desktop’s session bus does not answer; start Glintro from within your desktop session.";
constexpr const char* kNoPortal =
    "The desktop portal does not answer; install xdg-desktop-portal and the back end made for your desktop, "
    "then log in again.";
constexpr const char* kNoInterface =
    "The desktop’s portal cannot do this; install the portal back end made for your desktop (for example "
    "xdg-desktop-portal-gnome or xdg-desktop-portal-kde), then log in again.";

std::unexpected<Failure> busFailure(int code) {
    return failure(kNoBus, std::strerror(-code), -code);
}

bool isOneOf(const sd_bus_error& error, std::initializer_list<const char*> names) {
    return std::ranges::any_of(names, [&](const char* name) { return sd_bus_error_has_name(&error, name); });
}

std::unexpected<Failure> callFailure(const sd_bus_error& error, const std::string& what) {
    const std::string detail =
        what + ": " + (error.name ? error.name : "") + " " + (error.message ? error.message : "");
    const int code = sd_bus_error_get_errno(&error);
    if (isOneOf(error,
                {SD_BUS_ERROR_UNKNOWN_INTERFACE, SD_BUS_ERROR_UNKNOWN_METHOD, SD_BUS_ERROR_UNKNOWN_PROPERTY,
                 SD_BUS_ERROR_UNKNOWN_OBJECT, SD_BUS_ERROR_INVALID_ARGS})) {
        return failure(kNoInterface, detail, code);
    }
    return failure(kNoPortal, detail, code);
}

int callHandler(sd_bus_message* message, void* handler, sd_bus_error*) {
    (*static_cast<PortalBus::SignalHandler*>(handler))(message);
    return 0;
}

} // namespace

Result<std::unique_ptr<PortalBus>> PortalBus::connect() {
    sd_bus* opened = nullptr;
    if (const int code = sd_bus_open_user(&opened); code < 0) return busFailure(code);
    std::unique_ptr<PortalBus> bus(new PortalBus(BusHandle(opened)));
    const char* name = nullptr; // asking for it waits until the bus has accepted us
    if (const int code = sd_bus_get_unique_name(opened, &name); code < 0) return busFailure(code);
    if (auto watched = bus->watchPortal(); !watched) return std::unexpected(watched.error());
    return bus;
}

PortalBus::~PortalBus() = default;

Result<void> PortalBus::watchPortal() {
    ownerChanged_ = [this](sd_bus_message* message) {
        const char *name = nullptr, *before = nullptr, *now = nullptr;
        if (sd_bus_message_read(message, "sss", &name, &before, &now) >= 0 && *now == '\0')
            portalIsGone_ = true;
    };
    const std::string match =
        std::string("type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='") + kPortal
        + "'";
    sd_bus_slot* slot = nullptr;
    const int code = sd_bus_add_match(bus_.get(), &slot, match.c_str(), callHandler, &ownerChanged_);
    if (code < 0) return busFailure(code);
    ownerSlot_.reset(slot);
    return {};
}

Result<std::uint32_t> PortalBus::number(const char* interface, const char* property) {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    std::uint32_t value = 0;
    const int code = sd_bus_get_property_trivial(bus_.get(), kPortal, kPortalPath, interface, property,
                                                 &error, 'u', &value);
    Result<std::uint32_t> result = value;
    if (code < 0) result = callFailure(error, property);
    sd_bus_error_free(&error);
    return result;
}

Result<void> PortalBus::send(BusMessage message, SignalHandler& answered, BusSlot& slot) {
    sd_bus_slot* pending = nullptr;
    // No limit: a bus that starts the portal for us answers when it has, and says so when it cannot.
    const int code =
        sd_bus_call_async(bus_.get(), &pending, message.get(), callHandler, &answered, UINT64_MAX);
    if (code < 0) return busFailure(code);
    slot.reset(pending);
    return {};
}

Result<BusMessage> PortalBus::call(const char* interface, const char* method,
                                   const std::function<int(sd_bus_message*)>& write,
                                   const std::stop_token& cancel) {
    sd_bus_message* made = nullptr;
    int code = sd_bus_message_new_method_call(bus_.get(), &made, kPortal, kPortalPath, interface, method);
    BusMessage message(made);
    if (code >= 0) code = write(made);
    if (code < 0) return busFailure(code);

    BusMessage reply;
    SignalHandler answered = [&](sd_bus_message* arrived) { reply.reset(sd_bus_message_ref(arrived)); };
    BusSlot slot;
    portalIsGone_ = false; // the bus may start it again for this call
    if (auto sent = send(std::move(message), answered, slot); !sent) return std::unexpected(sent.error());
    if (auto waited = waitUntil([&] { return reply != nullptr; }, cancel); !waited) {
        return std::unexpected(waited.error());
    }
    if (const sd_bus_error* error = sd_bus_message_get_error(reply.get())) return callFailure(*error, method);
    return reply;
}

Result<PortalAnswer> PortalBus::ask(const char* interface, const char* method, const ArgumentWriter& write,
                                    const std::stop_token& cancel) {
    const std::string token = freshToken();
    const std::string path = requestPath(token);
    PortalAnswer answer;
    SignalHandler responded = [&](sd_bus_message* message) {
        std::uint32_t verdict = 2;
        sd_bus_message_read(message, "u", &verdict);
        answer.verdict = verdict == 0   ? PortalAnswer::Verdict::granted
                         : verdict == 1 ? PortalAnswer::Verdict::refused
                                        : PortalAnswer::Verdict::ended;
        answer.results.reset(sd_bus_message_ref(message));
    };
    // Listened to before the question is put: the answer may come before the reply to the call.
    auto slot = onSignal(path, kRequest, "Response", responded);
    if (!slot) return std::unexpected(slot.error());
    const auto arguments = [&](sd_bus_message* message) { return write(message, token); };
    auto called = call(interface, method, arguments, cancel);
    if (called) {
        auto answered = waitUntil([&] { return answer.results != nullptr; }, cancel);
        if (answered) return answer;
        called = std::unexpected(answered.error());
    }
    if (called.error().isCancelled()) tell(path, kRequest, "Close");
    return std::unexpected(called.error());
}

Result<BusSlot> PortalBus::onSignal(const std::string& path, const char* interface, const char* member,
                                    SignalHandler& handler) {
    sd_bus_slot* slot = nullptr;
    const int code = sd_bus_match_signal(bus_.get(), &slot, kPortal, path.c_str(), interface, member,
                                         callHandler, &handler);
    if (code < 0) return busFailure(code);
    return BusSlot(slot);
}

void PortalBus::tell(const std::string& path, const char* interface, const char* method) {
    sd_bus_message* made = nullptr;
    if (sd_bus_message_new_method_call(bus_.get(), &made, kPortal, path.c_str(), interface, method) < 0)
        return;
    BusMessage message(made);
    sd_bus_message_set_expect_reply(made, 0);
    sd_bus_send(bus_.get(), made, nullptr);
    sd_bus_flush(bus_.get());
}

std::string PortalBus::freshToken() {
    // The same for no two connections of a process either: the portal keeps objects a little longer than we
    // do.
    static std::atomic<int> connections = 0;
    if (tokens_ == 0) tokens_ = 1000 * ++connections;
    return "glintro" + std::to_string(++tokens_);
}

std::string PortalBus::requestPath(const std::string& token) {
    const char* name = "";
    sd_bus_get_unique_name(bus_.get(), &name);
    std::string sender = *name == ':' ? name + 1 : name;
    std::ranges::replace(sender, '.', '_');
    return std::string(kPortalPath) + "/request/" + sender + "/" + token;
}

bool PortalBus::process() {
    int code = 0;
    while ((code = sd_bus_process(bus_.get(), nullptr)) > 0) {
    }
    return code == 0;
}

void PortalBus::sleepUntilSomethingHappens(const WakeUp& wakeUp) {
    pollfd waited[2] = {{descriptor(), static_cast<short>(sd_bus_get_events(bus_.get())), 0},
                        {wakeUp.descriptor(), POLLIN, 0}};
    ::poll(waited, 2, -1);
}

Result<void> PortalBus::waitUntil(const std::function<bool()>& done, const std::stop_token& cancel) {
    const WakeUp wakeUp;
    const std::stop_callback ringer(cancel, [&] { wakeUp.ring(); });
    while (true) {
        if (!process()) return busFailure(-ENOTCONN);
        if (done()) return {};
        if (cancel.stop_requested()) return std::unexpected(Failure::cancelled());
        if (portalIsGone_)
            return failure(
                "The desktop portal has ended; try again, or log out and in if that does not help.");
        sleepUntilSomethingHappens(wakeUp);
    }
}

int readEntries(sd_bus_message* message, const std::function<bool(const char*, const char*)>& read) {
    int code = sd_bus_message_enter_container(message, 'a', "{sv}");
    while (code >= 0 && (code = sd_bus_message_enter_container(message, 'e', "sv")) > 0) {
        const char *name = nullptr, *signature = nullptr;
        code = sd_bus_message_read(message, "s", &name);
        if (code >= 0) code = sd_bus_message_peek_type(message, nullptr, &signature);
        if (code >= 0 && !read(name, signature)) code = sd_bus_message_skip(message, "v");
        if (code >= 0) code = sd_bus_message_exit_container(message);
    }
    return code < 0 ? code : sd_bus_message_exit_container(message);
}

std::optional<std::string> readSessionHandle(sd_bus_message* results) {
    std::optional<std::string> session;
    const int code = readEntries(results, [&](const char* name, const char*) {
        const char* path = nullptr;
        if (std::strcmp(name, "session_handle") != 0) return false;
        if (sd_bus_message_read(results, "v", "s", &path) < 0) return false;
        session = path;
        return true;
    });
    return code < 0 ? std::nullopt : session;
}

} // namespace glintro
