#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/wayland/PortalBus.h"
#include "platform/linux/wayland/SharedSource.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro::test {

// A session bus that knows no services, as this process's own while it lives.
class PrivateBus {
  public:
    PrivateBus();

  private:
    TemporaryFolder folder_;
    ScopedEnvironment address_;
    ChildProcess daemon_;
};

// A desktop portal that answers as it is told, for what no real one can be brought to say without a user.
class FakePortal {
  public:
    static constexpr std::uint32_t kNever = 99; // as a verdict: the user is still thinking

    struct Behaviour {
        std::map<std::string, std::uint32_t> properties; // of all interfaces; an unknown one is an error
        std::map<std::string, std::uint32_t> verdicts;   // by method; granted where absent
        bool isHung = false;                             // and answers nothing
        std::string trigger = "Meta+Alt+R";              // of the shortcut “record”; "" for none
        SharedSource shared = {SharedSource::Kind::unknown, "", Point{1920, 30}, Size{1600, 900}};
        std::optional<SharedSource> restored = {}; // instead, when a token asks for it
        std::uint32_t node = 42;                   // of the pictures
        std::filesystem::path pipeWire = {};       // the daemon's socket; none when empty
    };
    struct Call {
        std::string method;
        std::map<std::string, std::string> options;
    };

    // On the session bus of the process.
    explicit FakePortal(Behaviour behaviour);

    std::vector<Call> calls(const std::string& method);
    void closeSession();
    void activate(const std::string& shortcut);
    void changeTrigger(const std::string& trigger);

  private:
    void run(const std::stop_token& stop);
    void post(std::function<void()> action);
    int handle(sd_bus_message* message);
    int answerProperty(sd_bus_message* message);
    int answerRequest(sd_bus_message* message, const Call& call);
    void respond(const std::string& path, const std::string& method, std::uint32_t verdict);
    int answerRemote(sd_bus_message* message) const;
    int sendSource(const std::string& path, const SharedSource& source);
    Call read(sd_bus_message* message);

    const Behaviour behaviour_;
    BusHandle bus_;
    BusSlot slot_;
    bool hasToken_ = false; // the last SelectSources
    std::mutex mutex_;
    std::vector<Call> calls_;                   // under mutex_
    std::vector<std::function<void()>> posted_; // under mutex_
    std::jthread thread_;
};

} // namespace glintro::test
