#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "core/base/Failure.h"
#include "core/base/FileDescriptor.h"
#include "platform/linux/BusHandles.h"
#include "platform/linux/WakeUp.h"

namespace glintro {

inline constexpr const char* kPortalSession = "org.freedesktop.portal.Session";

// The user's answer to a question of the portal.
struct PortalAnswer {
    enum class Verdict : std::uint32_t { granted = 0, refused = 1, ended = 2 };

    Verdict verdict = Verdict::ended;
    BusMessage results; // its read position is at the a{sv} of results
};

// A connection of its own to the session bus, for talking to the desktop portal. The portal ends a session
// when the connection that made it goes. One thread at a time may use it.
class PortalBus {
  public:
    using SignalHandler = std::function<void(sd_bus_message*)>;
    // Appends the arguments; `token` belongs into the options as "handle_token".
    using ArgumentWriter = std::function<int(sd_bus_message*, const std::string& token)>;

    [[nodiscard]] static Result<std::unique_ptr<PortalBus>> connect();
    ~PortalBus();

    // A property of type u of one of the portal's interfaces. Fails when the portal lacks the interface.
    [[nodiscard]] Result<std::uint32_t> number(const char* interface, const char* property);

    // A call that the portal answers by itself.
    [[nodiscard]] Result<BusMessage> call(const char* interface, const char* method,
                                          const std::function<int(sd_bus_message*)>& write,
                                          const std::stop_token& cancel);

    // A call that the portal answers when the user has: waits as long as they need, unless the portal ends.
    // A stop request closes the dialog.
    [[nodiscard]] Result<PortalAnswer> ask(const char* interface, const char* method,
                                           const ArgumentWriter& write, const std::stop_token& cancel);

    // Calls the handler for each such signal, in process(), while the slot lives.
    [[nodiscard]] Result<BusSlot> onSignal(const std::string& path, const char* interface, const char* member,
                                           SignalHandler& handler);

    // Handles what arrives until done() holds. Fails when cancelled, or when portal or bus are gone.
    [[nodiscard]] Result<void> waitUntil(const std::function<bool()>& done, const std::stop_token& cancel);

    // Sends a call whose answer is ignored.
    void tell(const std::string& path, const char* interface, const char* method);

    // A name that no other object of this connection has.
    std::string freshToken();

    // How long number() waits for the portal, which may have to be started first.
    void setTimeout(std::chrono::microseconds timeout) {
        sd_bus_set_method_call_timeout(bus_.get(), static_cast<std::uint64_t>(timeout.count()));
    }

    // Whether it has ended since the last call, as far as process() has seen.
    bool portalIsGone() const { return portalIsGone_; }

    int descriptor() const { return sd_bus_get_fd(bus_.get()); }
    // Handles all that has arrived, without waiting; false when the connection is lost.
    bool process();

  private:
    explicit PortalBus(BusHandle bus) : bus_(std::move(bus)) {}
    [[nodiscard]] Result<void> watchPortal();
    [[nodiscard]] Result<void> send(BusMessage message, std::function<void(sd_bus_message*)>& answered,
                                    BusSlot& slot);
    void sleepUntilSomethingHappens(const WakeUp& wakeUp);
    std::string requestPath(const std::string& token);

    BusHandle bus_;
    SignalHandler ownerChanged_;
    BusSlot ownerSlot_;
    bool portalIsGone_ = false;
    int tokens_ = 0;
};

// Calls `read` for each entry of the a{sv} at the read position, with its name and its value's signature;
// `read` consumes the variant and returns true, or leaves it and returns false.
int readEntries(sd_bus_message* message, const std::function<bool(const char*, const char*)>& read);

// The session's path out of CreateSession's results; nullopt when it is not there.
std::optional<std::string> readSessionHandle(sd_bus_message* results);

} // namespace glintro
