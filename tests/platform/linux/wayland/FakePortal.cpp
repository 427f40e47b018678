#include "tests/platform/linux/wayland/FakePortal.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <stdexcept>

#include <sys/socket.h>
#include <sys/un.h>

#include "core/base/FileDescriptor.h"
#include "tests/support/WaitUntil.h"

namespace glintro::test {
namespace {

constexpr const char* kPath = "/org/freedesktop/portal/desktop";
constexpr const char* kSession = "/org/freedesktop/portal/desktop/session/fake";

// What comes before a method's options.
const std::map<std::string, const char*> kLeading = {
    {"CreateSession", ""},       {"SelectSources", "o"},           {"Start", "os"},
    {"OpenPipeWireRemote", "o"}, {"BindShortcuts", "oa(sa{sv})s"}, {"ListShortcuts", "o"}};

std::filesystem::path writeConfiguration(const TemporaryFolder& folder) {
    const std::filesystem::path file = folder / "bus.conf";
    std::ofstream(file)
        << "<busconfig><type>session</type><listen>unix:path=" << (folder / "bus").string()
        << "</listen><policy context='default'><allow send_destination='*'/>"
           "<allow receive_sender='*'/><allow own='*'/><allow user='*'/></policy></busconfig>";
    return file;
}

} // namespace

PrivateBus::PrivateBus()
    : address_("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (folder_ / "bus").string()),
      daemon_({"dbus-daemon", "--nofork", "--config-file=" + writeConfiguration(folder_).string()}) {
    // The socket is there a moment before the daemon listens to it.
    const auto answers = [] {
        sd_bus* opened = nullptr;
        const int code = sd_bus_open_user(&opened);
        const BusHandle bus(opened);
        return code >= 0;
    };
    if (!waitUntil(answers)) {
        throw std::runtime_error("dbus-daemon does not start");
    }
}

FakePortal::FakePortal(Behaviour behaviour) : behaviour_(std::move(behaviour)) {
    sd_bus* opened = nullptr;
    sd_bus_open_user(&opened);
    bus_.reset(opened);
    sd_bus_slot* slot = nullptr;
    const auto handler = [](sd_bus_message* message, void* self, sd_bus_error*) {
        return static_cast<FakePortal*>(self)->handle(message);
    };
    sd_bus_add_fallback(opened, &slot, kPath, handler, this);
    slot_.reset(slot);
    if (sd_bus_request_name(opened, "org.freedesktop.portal.Desktop", 0) < 0)
        throw std::runtime_error("no bus");
    thread_ = std::jthread([this](const std::stop_token& token) { run(token); });
}

std::vector<FakePortal::Call> FakePortal::calls(const std::string& method) {
    const std::scoped_lock lock(mutex_);
    std::vector<Call> found;
    std::ranges::copy_if(calls_, std::back_inserter(found),
                         [&](const Call& call) { return call.method == method; });
    return found;
}

void FakePortal::closeSession() {
    post([this] {
        sd_bus_emit_signal(bus_.get(), kSession, "org.freedesktop.portal.Session", "Closed", "a{sv}", 0);
    });
}

void FakePortal::activate(const std::string& shortcut) {
    post([this, shortcut] {
        sd_bus_emit_signal(bus_.get(), kPath, "org.freedesktop.portal.GlobalShortcuts", "Activated",
                           "osta{sv}", kSession, shortcut.c_str(), std::uint64_t{0}, 0);
    });
}

void FakePortal::changeTrigger(const std::string& trigger) {
    post([this, trigger] {
        sd_bus_message* made = nullptr;
        sd_bus_message_new_signal(bus_.get(), &made, kPath, "org.freedesktop.portal.GlobalShortcuts",
                                  "ShortcutsChanged");
        const BusMessage message(made);
        sd_bus_message_append(made, "oa(sa{sv})", kSession, 2, "another", 0, "record", 2, "description", "s",
                              "what", "trigger_description", "s", trigger.c_str());
        sd_bus_send(bus_.get(), made, nullptr);
    });
}

void FakePortal::post(std::function<void()> action) {
    const std::scoped_lock lock(mutex_);
    posted_.push_back(std::move(action));
}

void FakePortal::run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        std::vector<std::function<void()>> actions;
        {
            const std::scoped_lock lock(mutex_);
            actions.swap(posted_);
        }
        for (const auto& action : actions) action();
        while (sd_bus_process(bus_.get(), nullptr) > 0) {
        }
        sd_bus_wait(bus_.get(), 10'000);
    }
}

int FakePortal::handle(sd_bus_message* message) {
    if (behaviour_.isHung) return 1;
    const std::string method = sd_bus_message_get_member(message);
    if (method == "Get") return answerProperty(message);
    const Call call = read(message);
    {
        const std::scoped_lock lock(mutex_);
        calls_.push_back(call);
    }
    if (method == "SelectSources") hasToken_ = call.options.contains("restore_token");
    if (method == "OpenPipeWireRemote") return answerRemote(message);
    if (kLeading.contains(method)) return answerRequest(message, call);
    return sd_bus_reply_method_return(message, "");
}

int FakePortal::answerProperty(sd_bus_message* message) {
    const char *interface = nullptr, *name = nullptr;
    sd_bus_message_read(message, "ss", &interface, &name);
    const auto known = behaviour_.properties.find(name);
    if (known == behaviour_.properties.end()) {
        return sd_bus_reply_method_errorf(message, SD_BUS_ERROR_INVALID_ARGS, "No such interface");
    }
    return sd_bus_reply_method_return(message, "v", "u", known->second);
}

FakePortal::Call FakePortal::read(sd_bus_message* message) {
    Call call{sd_bus_message_get_member(message), {}};
    const auto leading = kLeading.find(call.method);
    if (leading == kLeading.end()) return call;
    sd_bus_message_skip(message, leading->second);
    readEntries(message, [&](const char* name, const char* signature) {
        const char* text = nullptr;
        std::uint32_t number = 0;
        const std::string type = signature;
        if (type == "s") sd_bus_message_read(message, "v", "s", &text);
        if (type == "u") sd_bus_message_read(message, "v", "u", &number);
        call.options[name] = text ? text : std::to_string(number);
        return type == "s" || type == "u";
    });
    return call;
}

int FakePortal::answerRequest(sd_bus_message* message, const Call& call) {
    std::string sender = sd_bus_message_get_sender(message) + 1;
    std::ranges::replace(sender, '.', '_');
    const std::string path =
        std::string(kPath) + "/request/" + sender + "/" + call.options.at("handle_token");
    const auto verdict = behaviour_.verdicts.find(call.method);
    const std::uint32_t answer = verdict == behaviour_.verdicts.end() ? 0 : verdict->second;
    // Before the reply, as portals may.
    if (answer != kNever) respond(path, call.method, answer);
    return sd_bus_reply_method_return(message, "o", path.c_str());
}

void FakePortal::respond(const std::string& path, const std::string& method, std::uint32_t verdict) {
    const auto emit = [&](const char* types, auto... values) {
        sd_bus_emit_signal(bus_.get(), path.c_str(), "org.freedesktop.portal.Request", "Response", types,
                           verdict, values...);
    };
    if (method == "CreateSession") return emit("ua{sv}", 1, "session_handle", "s", kSession);
    if (method.ends_with("Shortcuts") && verdict == 0) {
        return emit("ua{sv}", 1, "shortcuts", "a(sa{sv})", 1, "record", 1, "trigger_description", "s",
                    behaviour_.trigger.c_str());
    }
    if (method != "Start" || verdict != 0) return emit("ua{sv}", 0);
    sendSource(path, hasToken_ ? behaviour_.restored.value_or(behaviour_.shared) : behaviour_.shared);
}

int FakePortal::answerRemote(sd_bus_message* message) const {
    if (behaviour_.pipeWire.empty()) { // it has died meanwhile
        int ends[2] = {-1, -1};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return -errno;
        const FileDescriptor ours(ends[0]), dead(ends[1]);
        return sd_bus_reply_method_return(message, "h", dead.value());
    }
    const FileDescriptor remote(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    behaviour_.pipeWire.native().copy(address.sun_path, sizeof address.sun_path - 1);
    if (::connect(remote.value(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return -errno;
    return sd_bus_reply_method_return(message, "h", remote.value());
}

int FakePortal::sendSource(const std::string& path, const SharedSource& source) {
    sd_bus_message* made = nullptr;
    sd_bus_message_new_signal(bus_.get(), &made, path.c_str(), "org.freedesktop.portal.Request", "Response");
    const BusMessage message(made);
    sd_bus_message_append(made, "u", std::uint32_t{0});
    sd_bus_message_open_container(made, 'a', "{sv}");
    sd_bus_message_append(made, "{sv}", "restore_token", "s", "next");
    sd_bus_message_open_container(made, 'e', "sv");
    sd_bus_message_append(made, "s", "streams");
    for (const auto& [type, contents] : {std::pair{'v', "a(ua{sv})"}, {'a', "(ua{sv})"}, {'r', "ua{sv}"}})
        sd_bus_message_open_container(made, type, contents);
    sd_bus_message_append(made, "u", behaviour_.node);
    sd_bus_message_open_container(made, 'a', "{sv}");
    if (source.kind != SharedSource::Kind::unknown)
        sd_bus_message_append(made, "{sv}", "source_type", "u", static_cast<std::uint32_t>(source.kind));
    if (!source.id.empty()) sd_bus_message_append(made, "{sv}", "id", "s", source.id.c_str());
    if (source.position)
        sd_bus_message_append(made, "{sv}", "position", "(ii)", static_cast<int>(source.position->x),
                              static_cast<int>(source.position->y));
    if (source.size)
        sd_bus_message_append(made, "{sv}", "size", "(ii)", static_cast<int>(source.size->width),
                              static_cast<int>(source.size->height));
    for (int open = 0; open < 6; ++open) sd_bus_message_close_container(made);
    return sd_bus_send(bus_.get(), made, nullptr);
}

} // namespace glintro::test
