#include <atomic>
#include <mutex>

#include <gtest/gtest.h>

#include "app/recording/EventLogger.h"
#include "platform/HostClock.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

namespace glintro {
namespace {

using test::waitUntil;

// A pointer that the test moves and presses with.
class HandPointer final : public PointerSource {
  public:
    Result<void> start(PressHandler pressed) override {
        pressed_ = std::move(pressed);
        return {};
    }
    void stop() override { pressed_ = {}; }
    std::optional<Point> position() override {
        ++asked;
        const std::scoped_lock guard(mutex_);
        return position_;
    }

    void moveTo(std::optional<Point> position) {
        const std::scoped_lock guard(mutex_);
        position_ = position;
    }
    void press(const PointerPress& press) const { pressed_(press); }
    bool isWatched() const { return pressed_ != nullptr; }

    std::atomic<int> asked = 0;

  private:
    PressHandler pressed_;
    std::mutex mutex_;
    std::optional<Point> position_;
};

class EventLoggerTest : public testing::Test {
  protected:
    void start() {
        ASSERT_TRUE(logger.start([this] { return recorded; }, pointer, *journal));
    }
    // As it was logged, in host time.
    TakeRecord finish() {
        logger.finish();
        return journal->record();
    }

    TemporaryFolder folder;
    std::unique_ptr<TakeJournal> journal = TakeJournal::create(folder.path()).value();
    HandPointer pointer;
    Rect recorded{100, 200, 400, 100};
    EventLogger logger;
};

TEST_F(EventLoggerTest, TurnsPressesIntoFractionsOfWhatIsRecorded) {
    using enum PointerPress::Button;
    struct Row {
        const char* what;
        PointerPress press;
        Point fraction;
        bool isClick;
    };
    const Row rows[] = {{"inside", {left, {200, 225}, 1}, {0.25, 0.25}, true},
                        {"the right button", {right, {300, 275}, 2}, {0.5, 0.75}, true},
                        {"the top left corner", {left, {100, 200}, 3}, {0, 0}, true},
                        {"the bottom right corner", {left, {500, 300}, 4}, {1, 1}, true},
                        {"a point too far right", {left, {501, 250}, 5}, {1.0025, 0.5}, false},
                        {"a point too high", {left, {300, 199}, 6}, {0.5, -0.01}, false},
                        {"another screen", {right, {-300, 600}, 7}, {-1, 4}, false}};
    start();
    for (const Row& row : rows) pointer.press(row.press);
    const TakeRecord logged = finish();
    std::vector<PointerMoment> moments;
    std::vector<PointerMoment> clicks;
    for (const Row& row : rows) {
        moments.push_back({row.press.hostTime, row.fraction});
        if (row.isClick) clicks.push_back(moments.back());
    }
    EXPECT_EQ(logged.samples, moments);
    EXPECT_EQ(logged.clicks, clicks);
    EXPECT_FALSE(pointer.isWatched());
}

TEST_F(EventLoggerTest, FollowsAWindowThatIsMovedOrGone) {
    start();
    for (const Rect& frame : {Rect{100, 200, 400, 100}, Rect{0, 0, 800, 1000}, Rect{}}) {
        recorded = frame;
        pointer.press({.position = {200, 250}, .hostTime = 1});
    }
    EXPECT_EQ(finish().clicks, (std::vector<PointerMoment>{{1, {0.25, 0.5}}, {1, {0.25, 0.25}}}));
}

TEST_F(EventLoggerTest, SamplesThePointerAllTheTime) {
    const Seconds begin = hostTime();
    start();
    ASSERT_TRUE(waitUntil([&] { return pointer.asked > 3; }));
    const Seconds known = hostTime();
    pointer.moveTo(Point{300, 300});
    const int before = pointer.asked;
    ASSERT_TRUE(waitUntil([&] { return pointer.asked > before + 30; }));
    const TakeRecord logged = finish();
    const auto span = hostTime() - begin;

    ASSERT_GE(logged.samples.size(), 30U);
    EXPECT_LE(static_cast<double>(logged.samples.size()), span * 60 + 1) << "at most 60 a second";
    EXPECT_GE(logged.samples.front().hostTime, known) << "nothing while the position is not known";
    for (const PointerMoment& sample : logged.samples) EXPECT_EQ(sample.position, (Point{0.5, 1}));
    EXPECT_TRUE(logged.clicks.empty());
    const int asked = pointer.asked;
    EXPECT_FALSE(waitUntil([&] { return pointer.asked != asked; }, std::chrono::milliseconds(50)));
}

} // namespace
} // namespace glintro
