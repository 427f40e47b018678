#include "platform/linux/wayland/ScreenCast.h"

#include <cstring>

#include <fcntl.h>

#include "platform/linux/wayland/RestoreToken.h"

namespace glintro {
namespace {

constexpr const char* kScreenCast = "org.freedesktop.portal.ScreenCast";

enum CursorMode : std::uint32_t { hiddenCursor = 1, embeddedCursor = 2, metadataCursor = 4 };
enum PersistMode : std::uint32_t { persistUntilRevoked = 2 };

std::unexpected<Failure> malformed(const char* what) {
    return failure("The desktop portal gave an answer that makes no sense; update xdg-desktop-portal.", what);
}

// What a verdict other than "granted" means to the user.
Result<void> granted(const PortalAnswer& answer, const char* question) {
    if (answer.verdict == PortalAnswer::Verdict::granted) return {};
    if (answer.verdict == PortalAnswer::Verdict::refused) {
        return std::unexpected(Failure{
            "Nothing was shared; to record, choose a screen or window in the desktop’s dialog and allow it.",
            question, 0, Failure::Kind::cancelled});
    }
    return failure(
        "The desktop could not ask what to share; try again, or log out and in if that does not help.",
        question);
}

std::uint32_t cursorMode(ScreenCast::PointerMode mode) {
    switch (mode) {
        case ScreenCast::PointerMode::metadata:
            return metadataCursor;
        case ScreenCast::PointerMode::hidden:
            return hiddenCursor;
        case ScreenCast::PointerMode::embedded:
            break;
    }
    return embeddedCursor;
}

} // namespace

Result<std::unique_ptr<ScreenCast>> ScreenCast::open(const CastRequest& request,
                                                     const std::stop_token& cancel) {
    const RestoreToken memory(request.kind, request.name);
    const auto shared = [&](const ScreenCast& cast) {
        return RememberedChoice{cast.nextToken_, cast.source_};
    };
    if (const auto before = request.mayRestore ? memory.load() : std::nullopt) {
        auto cast = openWith(before->token, request.kind, cancel);
        if (!cast && cast.error().isCancelled()) return cast;
        if (cast && answers(request.kind, (*cast)->source_.kind)
            && isSameSource(before->source, (*cast)->source_)) {
            (*cast)->isRestored_ = true;
            memory.save(shared(**cast));
            return cast;
        }
        // Portals fail on a token they do not know, or that names what is no longer there. Some bring back
        // something else: that session ends here, and without the token they ask.
    }
    auto cast = openWith({}, request.kind, cancel);
    if (cast) memory.save(shared(**cast));
    return cast;
}

Result<std::unique_ptr<ScreenCast>> ScreenCast::openWith(const std::string& token, SharedSource::Kind kind,
                                                         const std::stop_token& cancel) {
    auto bus = PortalBus::connect();
    if (!bus) return std::unexpected(bus.error());
    std::unique_ptr<ScreenCast> cast(new ScreenCast(std::move(*bus)));
    Result<void> step = cast->choosePointerMode();
    if (step) step = cast->createSession(cancel);
    if (step) step = cast->selectSources(kind, token, cancel);
    if (step) step = cast->start(cancel);
    if (step) step = cast->openRemote(cancel);
    if (!step) return std::unexpected(step.error());
    return cast;
}

ScreenCast::~ScreenCast() {
    if (!session_.empty() && !isClosed_) bus_->tell(session_, kPortalSession, "Close");
}

Result<void> ScreenCast::choosePointerMode() {
    const auto version = bus_->number(kScreenCast, "version");
    if (!version) return std::unexpected(version.error());
    // Portals before version 2 draw the pointer, and know no choice.
    const std::uint32_t modes = bus_->number(kScreenCast, "AvailableCursorModes").value_or(embeddedCursor);
    // Without metadata nobody knows where the pointer is, so it must at least be seen.
    pointerMode_ = modes & metadataCursor   ? PointerMode::metadata
                   : modes & embeddedCursor ? PointerMode::embedded
                                            : PointerMode::hidden;
    return {};
}

Result<void> ScreenCast::createSession(const std::stop_token& cancel) {
    const std::string sessionToken = bus_->freshToken();
    auto answer = bus_->ask(
        kScreenCast, "CreateSession",
        [&](sd_bus_message* message, const std::string& token) {
            return sd_bus_message_append(message, "a{sv}", 2, "handle_token", "s", token.c_str(),
                                         "session_handle_token", "s", sessionToken.c_str());
        },
        cancel);
    if (!answer) return std::unexpected(answer.error());
    if (auto agreed = granted(*answer, "CreateSession"); !agreed) return agreed;
    const auto session = readSessionHandle(answer->results.get());
    if (!session) return malformed("CreateSession");
    session_ = *session;
    closed_ = [this](sd_bus_message*) { isClosed_ = true; };
    auto slot = bus_->onSignal(session_, kPortalSession, "Closed", closed_);
    if (!slot) return std::unexpected(slot.error());
    closedSlot_ = std::move(*slot);
    return {};
}

Result<void> ScreenCast::selectSources(SharedSource::Kind kind, const std::string& token,
                                       const std::stop_token& cancel) {
    const auto type = static_cast<std::uint32_t>(kind);
    auto answer = bus_->ask(
        kScreenCast, "SelectSources",
        [&](sd_bus_message* message, const std::string& handle) {
            int code = sd_bus_message_append(message, "o", session_.c_str());
            if (code >= 0) code = sd_bus_message_open_container(message, 'a', "{sv}");
            if (code >= 0) {
                code = sd_bus_message_append(message, "{sv}{sv}{sv}{sv}{sv}", "handle_token", "s",
                                             handle.c_str(), "types", "u", type, "multiple", "b", 0,
                                             "cursor_mode", "u", cursorMode(pointerMode_), "persist_mode",
                                             "u", persistUntilRevoked);
            }
            if (code >= 0 && !token.empty()) {
                code = sd_bus_message_append(message, "{sv}", "restore_token", "s", token.c_str());
            }
            return code < 0 ? code : sd_bus_message_close_container(message);
        },
        cancel);
    if (!answer) return std::unexpected(answer.error());
    return granted(*answer, "SelectSources");
}

Result<void> ScreenCast::start(const std::stop_token& cancel) {
    auto answer = bus_->ask(
        kScreenCast, "Start",
        [&](sd_bus_message* message, const std::string& token) {
            return sd_bus_message_append(message, "osa{sv}", session_.c_str(), "", 1, "handle_token", "s",
                                         token.c_str());
        },
        cancel);
    if (!answer) return std::unexpected(answer.error());
    if (auto agreed = granted(*answer, "Start"); !agreed) return agreed;
    sd_bus_message* results = answer->results.get();
    const int code = readEntries(results, [&](const char* name, const char*) {
        if (std::strcmp(name, "streams") == 0) return readStreams(results) >= 0;
        const char* token = nullptr;
        if (std::strcmp(name, "restore_token") != 0 || sd_bus_message_read(results, "v", "s", &token) < 0)
            return false;
        nextToken_ = token;
        return true;
    });
    if (code < 0 || !hasStream_) return malformed("Start");
    return {};
}

int ScreenCast::readStreams(sd_bus_message* results) {
    int code = sd_bus_message_enter_container(results, 'v', "a(ua{sv})");
    if (code >= 0) code = sd_bus_message_enter_container(results, 'a', "(ua{sv})");
    while (code >= 0 && (code = sd_bus_message_enter_container(results, 'r', "ua{sv}")) > 0) {
        std::uint32_t node = 0;
        code = sd_bus_message_read(results, "u", &node);
        if (code >= 0) {
            code = readEntries(results,
                               [&](const char* name, const char*) { return readStreamEntry(results, name); });
        }
        node_ = node;
        hasStream_ = true;
        if (code >= 0) code = sd_bus_message_exit_container(results);
    }
    if (code >= 0) code = sd_bus_message_exit_container(results);
    return code < 0 ? code : sd_bus_message_exit_container(results);
}

bool ScreenCast::readStreamEntry(sd_bus_message* message, const std::string& name) {
    if (name == "id") {
        const char* id = nullptr;
        if (sd_bus_message_read(message, "v", "s", &id) < 0) return false;
        source_.id = id;
        return true;
    }
    if (name == "source_type") {
        std::uint32_t kind = 0;
        if (sd_bus_message_read(message, "v", "u", &kind) < 0) return false;
        source_.kind = static_cast<SharedSource::Kind>(kind);
        return true;
    }
    if (name != "position" && name != "size") return false;
    std::int32_t first = 0, second = 0;
    if (sd_bus_message_read(message, "v", "(ii)", &first, &second) < 0) return false;
    if (name == "position") source_.position = Point{static_cast<double>(first), static_cast<double>(second)};
    if (name == "size" && first > 0 && second > 0)
        source_.size = Size{static_cast<double>(first), static_cast<double>(second)};
    return true;
}

Result<void> ScreenCast::openRemote(const std::stop_token& cancel) {
    auto reply = bus_->call(
        kScreenCast, "OpenPipeWireRemote",
        [&](sd_bus_message* message) {
            return sd_bus_message_append(message, "oa{sv}", session_.c_str(), 0);
        },
        cancel);
    if (!reply) return std::unexpected(reply.error());
    int borrowed = -1; // the message closes it
    if (sd_bus_message_read(reply->get(), "h", &borrowed) < 0) return malformed("OpenPipeWireRemote");
    remote_ = FileDescriptor(::fcntl(borrowed, F_DUPFD_CLOEXEC, 3));
    if (!remote_.isOpen())
        return failure("Too many files are open; close some programs and try again.", "fcntl", errno);
    return {};
}

} // namespace glintro
