#include <thread>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "platform/ThreadPriority.h"

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

} // namespace
} // namespace glintro
