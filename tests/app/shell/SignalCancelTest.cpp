#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "app/shell/SignalCancel.h"

namespace glintro {
namespace {

TEST(SignalCancel, LeavesSignalsAsTheyWere) {
    std::signal(SIGHUP, SIG_IGN);
    {
        const auto cancel = std::make_shared<ExportCancel>();
        const SignalCancel signals(cancel);
        std::raise(SIGHUP);
        EXPECT_FALSE(cancel->isCancelled());
    }
    EXPECT_EQ(std::signal(SIGHUP, SIG_DFL), SIG_IGN);
    EXPECT_EQ(std::signal(SIGINT, SIG_DFL), SIG_DFL);
}

TEST(SignalCancelDeathTest, KillsWorkThatDoesNotHeedIt) {
    const auto insist = [] {
        const SignalCancel signals(std::make_shared<ExportCancel>());
        std::raise(SIGTERM);
        std::this_thread::sleep_for(std::chrono::milliseconds(1100));
        std::raise(SIGTERM);
        std::this_thread::sleep_for(std::chrono::hours(1));
    };
    EXPECT_EXIT(insist(), testing::KilledBySignal(SIGTERM), "");
}

} // namespace
} // namespace glintro
