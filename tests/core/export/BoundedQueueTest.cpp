#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "core/export/BoundedQueue.h"

namespace glintro {
namespace {

TEST(BoundedQueue, HandsEverythingOnInOrderAndNeverHoldsMoreThanItsCapacity) {
    BoundedQueue<int> queue(3);
    std::atomic<int> pushed = 0;
    std::atomic<int> popped = 0;
    std::atomic<bool> overfull = false;
    std::jthread producer([&] {
        for (int i = 0; i < 2000; ++i) {
            if (!queue.push(i)) break;
            // The value being handed over counts on neither side for a moment: one more than the capacity.
            if (++pushed - popped > 4) overfull = true;
        }
        queue.close();
    });
    int expected = 0;
    while (const auto value = queue.pop()) {
        ++popped;
        ASSERT_EQ(*value, expected++);
    }
    EXPECT_EQ(expected, 2000);
    EXPECT_FALSE(overfull);
}

TEST(BoundedQueue, AbortingWakesBothEndsAndKeepsTheFirstFailure) {
    BoundedQueue<int> full(1);
    ASSERT_TRUE(full.push(1));
    std::atomic<bool> refused = false;
    {
        std::jthread producer([&] { refused = !full.push(2); });
        full.abort(Failure{"first"});
        full.abort(Failure{"second"});
    }
    EXPECT_TRUE(refused);
    EXPECT_EQ(full.pop(), std::nullopt);
    EXPECT_EQ(full.failure()->message, "first");

    BoundedQueue<int> empty(1);
    std::optional<int> value = 0;
    {
        std::jthread consumer([&] { value = empty.pop(); });
        empty.abort(Failure{"stop"});
    }
    EXPECT_EQ(value, std::nullopt);
}

} // namespace
} // namespace glintro
