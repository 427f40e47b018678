#include <thread>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "platform/ThreadPriority.h"
#include "tests/support/ForkedProcess.h"

namespace glintro {
namespace {

int nice() {
    return ::getpriority(PRIO_PROCESS, 0);
}

// The program's other threads, and the user's other programs, must not be pushed aside with it.
TEST(ThreadPriority, RaisesTheCallingThreadAndTheThreadsItStartsOnly) {
    const int before = nice();
    int encoding = before, grabbing = before, inherited = before;
    std::thread([&] {
        raiseThreadPriority(ThreadUrgency::encoding);
        encoding = nice();
        std::thread([&] { inherited = nice(); }).join();
    }).join();
    std::thread([&] {
        raiseThreadPriority(ThreadUrgency::grabbing);
        grabbing = nice();
    }).join();
    EXPECT_EQ(nice(), before);
    EXPECT_EQ(inherited, encoding);
    EXPECT_LE(grabbing, encoding);
    EXPECT_LE(encoding, before);
}

// As an ordinary user, who may not.
TEST(ThreadPriority, AsksTheServiceForWhatTheSystemDoesNotAllow) {
    test::ForkedProcess process([] {
        const rlimit none{};
        ::setrlimit(RLIMIT_NICE, &none);
        if (::geteuid() == 0 && ::setuid(65534) != 0) return false;
        pid_t asked = 0, thread = 0;
        int wanted = 0;
        setThreadPriorityService([&](pid_t forThread, int nice) {
            asked = forThread;
            wanted = nice;
        });
        std::thread([&] {
            thread = ::gettid();
            raiseThreadPriority(ThreadUrgency::grabbing);
        }).join();
        return asked == thread && wanted < nice();
    });
    EXPECT_TRUE(process.succeeds());
}

} // namespace
} // namespace glintro
