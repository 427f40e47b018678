#include <chrono>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "platform/linux/RealtimeKit.h"
#include "tests/platform/linux/wayland/FakePortal.h"
#include "tests/support/SharedLog.h"

namespace glintro {
namespace {

using test::PrivateBus;
using test::ScopedEnvironment;

// The service on the bus of the test, which notes what it is asked for.
class FakeRealtimeKit {
  public:
    using Wish = std::pair<std::uint64_t, std::int32_t>; // thread and nice value

    explicit FakeRealtimeKit(bool isHung = false) : isHung_(isHung) {
        sd_bus* opened = nullptr;
        sd_bus_open_user(&opened);
        bus_.reset(opened);
        const auto handler = [](sd_bus_message* message, void* self, sd_bus_error*) {
            return static_cast<FakeRealtimeKit*>(self)->handle(message);
        };
        sd_bus_add_fallback(opened, nullptr, "/org/freedesktop/RealtimeKit1", handler, this);
        EXPECT_GE(sd_bus_request_name(opened, "org.freedesktop.RealtimeKit1", 0), 0);
        thread_ = std::jthread([this](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                while (sd_bus_process(bus_.get(), nullptr) > 0) {
                }
                sd_bus_wait(bus_.get(), 10'000);
            }
        });
    }

    test::SharedLog<Wish> wishes;

  private:
    int handle(sd_bus_message* message) {
        if (isHung_) return 1;
        if (std::string(sd_bus_message_get_member(message)) == "Get")
            return sd_bus_reply_method_return(message, "v", "i", -15);
        Wish wish;
        sd_bus_message_read(message, "ti", &wish.first, &wish.second);
        wishes.add(wish);
        return sd_bus_reply_method_return(message, "");
    }

    const bool isHung_;
    BusHandle bus_;
    std::jthread thread_;
};

class RealtimeKitTest : public testing::Test {
  protected:
    PrivateBus bus_;
    ScopedEnvironment system_{"DBUS_SYSTEM_BUS_ADDRESS", std::getenv("DBUS_SESSION_BUS_ADDRESS")};
};

TEST_F(RealtimeKitTest, IsAskedOnceForEachThreadAndForNoMoreThanItGrants) {
    const FakeRealtimeKit service;
    RealtimeKit kit;
    kit.raise(100, -12);
    kit.raise(101, -19);
    kit.raise(102, 3); // below ordinary threads: nobody needs help for that
    kit.raise(103, -1);
    EXPECT_TRUE(service.wishes.becomes({{100, -12}, {101, -15}, {103, -1}}));
}

TEST_F(RealtimeKitTest, KeepsNobodyWaitingWhereItHangsOrIsNotThere) {
    for (const bool exists : {true, false}) {
        const auto service = exists ? std::make_unique<FakeRealtimeKit>(true) : nullptr;
        const auto begin = std::chrono::steady_clock::now();
        {
            RealtimeKit kit;
            for (int thread = 1; thread < 50; ++thread) kit.raise(thread, -4);
            EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(500));
        }
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    }
}

} // namespace
} // namespace glintro
