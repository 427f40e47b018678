#include <future>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "app/recording/SerialQueue.h"

namespace glintro {
namespace {

TEST(SerialQueue, RunsEverythingInTheOrderItCame) {
    std::vector<int> seen;
    {
        SerialQueue queue(1000);
        for (int i = 0; i < 500; ++i) queue.post([&seen, i] { seen.push_back(i); });
        queue.run([&] { EXPECT_EQ(seen.size(), 500U); });
        for (int i = 500; i < 700; ++i) queue.post([&seen, i] { seen.push_back(i); });
    }
    ASSERT_EQ(seen.size(), 700U) << "what waits when the queue goes still has to run";
    for (int i = 0; i < 700; ++i) EXPECT_EQ(seen[static_cast<std::size_t>(i)], i);
}

TEST(SerialQueue, RefusesSamplesWhileItIsBehindAndLetsTheirMemoryGo) {
    SerialQueue queue(2);
    std::promise<void> release;
    std::promise<void> blocked;
    queue.post([&] {
        blocked.set_value();
        release.get_future().wait();
    });
    blocked.get_future().wait();

    const auto buffer = std::make_shared<int>(1);
    EXPECT_TRUE(queue.offer([buffer] {}));
    EXPECT_TRUE(queue.offer([buffer] {}));
    EXPECT_FALSE(queue.offer([buffer] {}));
    EXPECT_EQ(buffer.use_count(), 3) << "a refused sample is given back at once";
    bool controlled = false;
    queue.post([&] { controlled = true; });
    release.set_value();
    queue.run([] {});
    EXPECT_TRUE(controlled) << "a pause or the end is never refused";
    EXPECT_EQ(buffer.use_count(), 1);
    EXPECT_TRUE(queue.offer([] {}));
}

} // namespace
} // namespace glintro
