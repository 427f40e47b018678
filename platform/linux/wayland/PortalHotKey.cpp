#include "platform/linux/wayland/PortalHotKey.h"

#include <cstring>
#include <utility>

#include <fmt/format.h>

#include "platform/linux/wayland/WaylandDesktop.h"

namespace glintro {
namespace {

constexpr const char* kShortcuts = "org.freedesktop.portal.GlobalShortcuts";
constexpr const char* kPath = "/org/freedesktop/portal/desktop";
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
    // Earlier portals expect the shortcuts here, later ones with BindShortcuts; each ignores the other.
    if (code >= 0) code = sd_bus_message_open_container(message, 'e', "sv");
    if (code >= 0) code = sd_bus_message_append(message, "s", "shortcuts");
    if (code >= 0) code = sd_bus_message_open_container(message, 'v', "a(sa{sv})");
    if (code >= 0) code = appendShortcuts(message, trigger);
    for (int open = 0; code >= 0 && open < 3; ++open) code = sd_bus_message_close_container(message);
    return code;
}

// Our shortcut's trigger out of an a(sa{sv}): "" while it has none, nullopt when the shortcut is not listed.
std::optional<std::string> readTrigger(sd_bus_message* message) {
    std::optional<std::string> trigger;
    sd_bus_message_enter_container(message, 'a', "(sa{sv})");
    while (sd_bus_message_enter_container(message, 'r', "sa{sv}") > 0) {
        const char* id = nullptr;
        std::string description;
        sd_bus_message_read(message, "s", &id);
        const int code = readEntries(message, [&](const char* name, const char*) {
            const char* text = nullptr;
            if (std::strcmp(name, "trigger_description") != 0) return false;
            if (sd_bus_message_read(message, "v", "s", &text) < 0) return false;
            description = text;
            return true;
        });
        if (code < 0) break;
        if (std::strcmp(id, kShortcut) == 0) trigger = description;
        sd_bus_message_exit_container(message);
    }
    sd_bus_message_exit_container(message);
    return trigger;
}

// The same out of the results of BindShortcuts and ListShortcuts.
std::optional<std::string> readTriggerResult(sd_bus_message* results) {
    std::optional<std::string> trigger;
    readEntries(results, [&](const char* name, const char*) {
        if (std::strcmp(name, "shortcuts") != 0) return false;
        if (sd_bus_message_enter_container(results, 'v', "a(sa{sv})") < 0) return false;
        trigger = readTrigger(results);
        return sd_bus_message_exit_container(results) >= 0;
    });
    return trigger;
}

std::unexpected<Failure> noKey(const char* detail) {
    return failure("The desktop has given Glintro no key; choose one in its settings, under shortcuts.",
                   detail);
}

} // namespace

Result<void> PortalHotKey::listen(const KeyCombination& keys, HotKeyHandlers handlers) {
    stop();
    const auto trigger = shortcutTrigger(keys);
    if (!trigger)
        return failure("This key cannot be had on this desktop; choose a letter, a digit or a function key.");
    auto bus = PortalBus::connect();
    if (!bus) return std::unexpected(bus.error());
    if (const auto version = (*bus)->number(kShortcuts, "version"); !version) {
        return failure(
            "This desktop gives programs no key of their own; start and stop recordings from the window.",
            version.error().detail, version.error().nativeCode);
    }
    bus_ = std::move(*bus);
    handlers_ = std::move(handlers);
    shown_.reset();
    isLost_ = false;
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
    const auto served = serve(trigger, stop);
    if (stop.stop_requested() || served || !handlers_.lost) return;
    handlers_.lost(served.error());
}

// Until the stop; fails when the key is lost for good.
Result<void> PortalHotKey::serve(const std::string& trigger, const std::stop_token& stop) {
    const auto session = createSession(trigger, stop);
    if (!session) return std::unexpected(session.error());
    bool isClosed = false;
    PortalBus::SignalHandler closed = [&](sd_bus_message*) { isClosed = true; };
    PortalBus::SignalHandler activated = [&](sd_bus_message* message) {
        const char *of = nullptr, *shortcut = nullptr;
        if (sd_bus_message_read(message, "os", &of, &shortcut) < 0) return;
        if (*session == of && std::strcmp(shortcut, kShortcut) == 0 && handlers_.pressed) handlers_.pressed();
    };
    PortalBus::SignalHandler changed = [&](sd_bus_message* message) {
        const char* of = nullptr;
        if (sd_bus_message_read(message, "o", &of) >= 0 && *session == of) show(readTrigger(message));
    };
    const auto closedSlot = bus_->onSignal(*session, kPortalSession, "Closed", closed);
    const auto activatedSlot = bus_->onSignal(kPath, kShortcuts, "Activated", activated);
    const auto changedSlot = bus_->onSignal(kPath, kShortcuts, "ShortcutsChanged", changed);
    for (const auto* slot : {&closedSlot, &activatedSlot, &changedSlot})
        if (!*slot) return std::unexpected(slot->error());
    if (auto bound = bind(*session, trigger, stop); !bound) return bound;
    if (auto waited = bus_->waitUntil([&] { return isClosed; }, stop); !waited) return waited;
    return failure("The desktop has taken Glintro’s key away; switch it on again in Glintro’s settings.",
                   "session closed");
}

Result<std::string> PortalHotKey::createSession(const std::string& trigger, const std::stop_token& stop) {
    const std::string sessionToken = bus_->freshToken();
    const auto write = [&](sd_bus_message* message, const std::string& token) {
        return appendSessionOptions(message, token, sessionToken, trigger);
    };
    const auto answer = bus_->ask(kShortcuts, "CreateSession", write, stop);
    if (!answer) return std::unexpected(answer.error());
    if (answer->verdict != PortalAnswer::Verdict::granted) return noKey("CreateSession");
    auto session = readSessionHandle(answer->results.get());
    if (!session) return noKey("no session handle");
    return *session;
}

Result<void> PortalHotKey::bind(const std::string& session, const std::string& trigger,
                                const std::stop_token& stop) {
    const auto writeBind = [&](sd_bus_message* message, const std::string& token) {
        int code = sd_bus_message_append(message, "o", session.c_str());
        if (code >= 0) code = appendShortcuts(message, trigger);
        return code < 0 ? code
                        : sd_bus_message_append(message, "sa{sv}", "", 1, "handle_token", "s", token.c_str());
    };
    const auto writeList = [&](sd_bus_message* message, const std::string& token) {
        return sd_bus_message_append(message, "oa{sv}", session.c_str(), 1, "handle_token", "s",
                                     token.c_str());
    };
    auto answer = bus_->ask(kShortcuts, "BindShortcuts", writeBind, stop);
    auto shown = answer ? readTriggerResult(answer->results.get()) : std::nullopt;
    // A refusal is no end: the key that came with the session may stand.
    if (!shown && (answer || !answer.error().isCancelled())) {
        answer = bus_->ask(kShortcuts, "ListShortcuts", writeList, stop);
        if (answer) shown = readTriggerResult(answer->results.get());
    }
    if (!answer) return std::unexpected(answer.error());
    show(shown);
    return {};
}

// Tells the trigger, or that there is none, once for each change.
void PortalHotKey::show(const std::optional<std::string>& trigger) {
    if (trigger && !trigger->empty()) {
        isLost_ = false;
        if (std::exchange(shown_, trigger) != trigger && handlers_.bound) handlers_.bound(*trigger);
        return;
    }
    shown_.reset();
    if (!std::exchange(isLost_, true) && handlers_.lost) handlers_.lost(noKey("no trigger").error());
}

std::optional<std::string> shortcutTrigger(const KeyCombination& keys) {
    const std::uint32_t symbol = keys.keySymbol;
    std::string key;
    const bool isLetter = symbol >= 'a' && symbol <= 'z', isDigit = symbol >= '0' && symbol <= '9';
    if (isLetter || isDigit) key = static_cast<char>(symbol);
    if (symbol >= kFirstFunctionKey && symbol <= kLastFunctionKey) {
        key = fmt::format("F{}", symbol - kFirstFunctionKey + 1);
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
