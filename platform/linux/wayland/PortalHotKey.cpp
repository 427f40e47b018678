#include "platform/linux/wayland/PortalHotKey.h"

#include <cstring>
#include <utility>

#include "platform/linux/wayland/WaylandDesktop.h"

namespace glintro {
namespace {

constexpr const char* kInterface = "org.freedesktop.portal.GlobalShortcuts";
constexpr const char* kShortcut = "record";
constexpr std::uint32_t kFirstFunctionKey = 0xFFBE, kLastFunctionKey = 0xFFC9; // F1 to F12

// a(sa{sv}) with our one shortcut.
int appendShortcuts(sd_bus_message* message, const std::string& trigger) {
    return sd_bus_message_append(message, "a(sa{sv})", 1, kShortcut, 2, "description", "s",
                                 "Open the recording bar, or stop the recording", "preferred_trigger", "s",
                                 trigger.c_str());
}

int appendSessionOptions(sd_bus_message* message, const std::string& token, const std::string& session,
                         const std::string& trigger) {
    int code = sd_bus_message_open_container(message, 'a', "{sv}");
    if (code >= 0) {
        code = sd_bus_message_append(message, "{sv}{sv}", "handle_token", "s", token.c_str(),
                                     "session_handle_token", "s", session.c_str());
    }
    // Earlier portals take the shortcuts here, later ones with BindShortcuts; each ignores the other.
    if (code >= 0) code = sd_bus_message_open_container(message, 'e', "sv");
    if (code >= 0) code = sd_bus_message_append(message, "s", "shortcuts");
    if (code >= 0) code = sd_bus_message_open_container(message, 'v', "a(sa{sv})");
    if (code >= 0) code = appendShortcuts(message, trigger);
    for (int open = 0; code >= 0 && open < 3; ++open) code = sd_bus_message_close_container(message);
    return code;
}

} // namespace

Result<void> PortalHotKey::listen(const KeyCombination& keys, std::function<void()> pressed) {
    stop();
    const auto trigger = shortcutTrigger(keys);
    if (!trigger)
        return failure("This key cannot be had on this desktop; choose a letter, a digit or a function key.");
    auto bus = PortalBus::connect();
    if (!bus) return std::unexpected(bus.error());
    if (const auto version = (*bus)->number(kInterface, "version"); !version) {
        return failure(
            "This desktop gives programs no key of their own; start and stop recordings from the window.",
            version.error().detail, version.error().nativeCode);
    }
    bus_ = std::move(*bus);
    pressed_ = std::move(pressed);
    thread_ = std::jthread([this, trigger](const std::stop_token& token) { run(*trigger, token); });
    return {};
}

void PortalHotKey::stop() {
    if (thread_.joinable()) {
        thread_.request_stop();
        thread_.join();
    }
    bus_.reset(); // and with it the portal's session
}

void PortalHotKey::run(const std::string& trigger, const std::stop_token& stop) {
    const auto session = createSession(trigger, stop);
    if (!session) return;
    PortalBus::SignalHandler activated = [&](sd_bus_message* message) {
        const char *of = nullptr, *shortcut = nullptr;
        if (sd_bus_message_read(message, "os", &of, &shortcut) < 0) return;
        if (*session == of && std::strcmp(shortcut, kShortcut) == 0) pressed_();
    };
    const auto slot = bus_->onSignal("/org/freedesktop/portal/desktop", kInterface, "Activated", activated);
    const auto bind = [&](sd_bus_message* message, const std::string& token) {
        int code = sd_bus_message_append(message, "o", session->c_str());
        if (code >= 0) code = appendShortcuts(message, trigger);
        return code < 0 ? code
                        : sd_bus_message_append(message, "sa{sv}", "", 1, "handle_token", "s", token.c_str());
    };
    // Even a refusal is no end: the key that came with the session may stand.
    (void)bus_->ask(kInterface, "BindShortcuts", bind, stop);
    (void)bus_->waitUntil([] { return false; }, stop);
}

std::optional<std::string> PortalHotKey::createSession(const std::string& trigger,
                                                       const std::stop_token& stop) {
    const std::string sessionToken = bus_->freshToken();
    const auto write = [&](sd_bus_message* message, const std::string& token) {
        return appendSessionOptions(message, token, sessionToken, trigger);
    };
    const auto answer = bus_->ask(kInterface, "CreateSession", write, stop);
    if (!answer || answer->verdict != PortalAnswer::Verdict::granted) return std::nullopt;
    return readSessionHandle(answer->results.get());
}

std::optional<std::string> shortcutTrigger(const KeyCombination& keys) {
    const std::uint32_t symbol = keys.keySymbol;
    std::string key;
    const bool isLetter = symbol >= 'a' && symbol <= 'z', isDigit = symbol >= '0' && symbol <= '9';
    if (isLetter || isDigit) key = static_cast<char>(symbol);
    if (symbol >= kFirstFunctionKey && symbol <= kLastFunctionKey) {
        key = "F" + std::to_string(symbol - kFirstFunctionKey + 1);
    }
    if (key.empty()) return std::nullopt;
    std::string trigger;
    if (keys.modifiers & KeyCombination::control) trigger += "CTRL+";
    if (keys.modifiers & KeyCombination::alt) trigger += "ALT+";
    if (keys.modifiers & KeyCombination::shift) trigger += "SHIFT+";
    if (keys.modifiers & KeyCombination::super) trigger += "LOGO+";
    return trigger + key;
}

std::unique_ptr<HotKeySource> createPortalHotKeySource() {
    return std::make_unique<PortalHotKey>();
}

} // namespace glintro
