#include <atomic>
#include <optional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/linux/x11/X11Desktop.h"
#include "platform/linux/x11/X11KeyGrab.h"
#include "tests/support/SharedLog.h"
#include "tests/support/XSession.h"

namespace glintro {
namespace {

using test::waitUntil;
using test::XSession;

constexpr std::uint32_t kAltLeft = 0xFFE9, kSuperLeft = 0xFFEB, kNumLock = 0xFF7F, kCapsLock = 0xFFE5,
                        kF30 = 0xFFDB;
constexpr KeyCombination kRecord{'r', KeyCombination::alt | KeyCombination::super};

constexpr const char* kHeld =
    "Another program already uses Alt+Super+R: free the keys there, or choose others for Glintro.";

class X11HotKeySourceTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const auto why = XSession::whyNoXvfb()) GTEST_SKIP() << *why;
        session_ = XSession::xvfb(800, 600);
        environment_.emplace(*session_);
        source_ = createX11HotKeySource();
    }
    void TearDown() override { source_.reset(); }

    void type(std::uint32_t key, const std::vector<std::uint32_t>& modifiers = {}) {
        for (const std::uint32_t modifier : modifiers) session_->injector().pressKey(modifier);
        session_->injector().pressKey(key);
        session_->injector().releaseKey(key);
        for (const std::uint32_t modifier : modifiers) session_->injector().releaseKey(modifier);
        pause();
    }
    // Nobody presses a key again within the millisecond, which is what tells a repeat.
    static void pause() { std::this_thread::sleep_for(std::chrono::milliseconds(3)); }
    HotKeyHandlers counter() { return counting(presses_); }
    static HotKeyHandlers counting(std::atomic<int>& presses) {
        return {.pressed = [&presses] { ++presses; }, .bound = {}, .lost = {}};
    }
    // Counts, and keeps what else the handlers are told: the trigger, or the sentence of a loss.
    HotKeyHandlers logger() {
        HotKeyHandlers handlers = counter();
        handlers.bound = [this](const std::string& trigger) { told_.add(trigger); };
        handlers.lost = [this](const Failure& why) { told_.add(why.message); };
        return handlers;
    }
    bool reach(int count) {
        return waitUntil([&] { return presses_ >= count; }) && presses_ == count;
    }

    std::unique_ptr<XSession> session_;
    std::optional<XSession::Environment> environment_;
    std::unique_ptr<HotKeySource> source_;
    std::atomic<int> presses_ = 0;
    test::SharedLog<std::string> told_;
};

TEST_F(X11HotKeySourceTest, FiresWhicheverLocksAreOnAndForNothingElse) {
    ASSERT_TRUE(source_->listen(kRecord, counter()));
    int expected = 0;
    for (const std::vector<std::uint32_t>& toggled : std::vector<std::vector<std::uint32_t>>{
             {}, {kNumLock}, {kCapsLock}, {kNumLock}}) { // none, number, both, capitals
        for (const std::uint32_t lock : toggled) type(lock);
        type('r', {kAltLeft});
        type('t', {kAltLeft, kSuperLeft});
        type('r', {kAltLeft, kSuperLeft});
        EXPECT_TRUE(reach(++expected)) << presses_;
    }
}

TEST_F(X11HotKeySourceTest, FiresOnceHoweverLongTheKeyIsHeld) {
    session_->output({"xset", "r", "rate", "20", "200"});
    ASSERT_TRUE(source_->listen(kRecord, counter()));
    for (const std::uint32_t modifier : {kAltLeft, kSuperLeft}) session_->injector().pressKey(modifier);
    session_->injector().pressKey('r');
    std::this_thread::sleep_for(std::chrono::milliseconds(200)); // some thirty repeats
    session_->injector().releaseKey('r');
    pause();
    session_->injector().pressKey('r');
    EXPECT_TRUE(reach(2)) << presses_;
}

TEST_F(X11HotKeySourceTest, SaysThatAnotherProgramHoldsTheKeys) {
    ASSERT_TRUE(source_->listen(kRecord, counter()));
    const auto second = createX11HotKeySource();
    const Result<void> refused = second->listen(kRecord, {});
    ASSERT_FALSE(refused);
    EXPECT_NE(refused.error().message.find("Alt+Super+R"), std::string::npos);
    // What was refused half-way must not keep the keys it got.
    ASSERT_TRUE(second->listen({'r', KeyCombination::alt | KeyCombination::control}, {}));
    type('r', {kAltLeft, kSuperLeft});
    EXPECT_TRUE(reach(1));
    source_->stop();
    EXPECT_TRUE(waitUntil([&] { return second->listen(kRecord, {}).has_value(); }));
}

TEST_F(X11HotKeySourceTest, ListensToTheLastCombinationOnlyAndToNoneAfterTheStop) {
    std::atomic<int> later = 0;
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(source_->listen(kRecord, counter()));
        ASSERT_TRUE(source_->listen(kRecord, counting(later))) << "the same again";
        ASSERT_TRUE(source_->listen({'k', KeyCombination::control}, counting(later)));
    }
    type('r', {kAltLeft, kSuperLeft});
    type('k', {0xFFE3});
    EXPECT_TRUE(waitUntil([&] { return later == 1; }));
    EXPECT_EQ(presses_, 0);
    source_->stop();
    type('k', {0xFFE3});
    EXPECT_EQ(later, 1);
}

TEST_F(X11HotKeySourceTest, TellsOfAKeyThatTheKeyboardLosesAndFindsAgain) {
    ASSERT_TRUE(source_->listen(kRecord, logger()));
    std::vector<std::string> expected{"Alt+Super+R"};
    EXPECT_TRUE(told_.becomes(expected));
    session_->output({"xmodmap", "-e", "keysym r = F30"});
    expected.push_back("This keyboard has no key for Alt+Super+R: choose other keys.");
    EXPECT_TRUE(told_.becomes(expected));
    session_->output({"xmodmap", "-e", "keysym F30 = r R"});
    expected.push_back("Alt+Super+R");
    EXPECT_TRUE(told_.becomes(expected));
    type('r', {kAltLeft, kSuperLeft});
    EXPECT_TRUE(reach(1));
}

TEST_F(X11HotKeySourceTest, TellsThatAnotherProgramHoldsTheKeyItWasMovedToAndWaitsForIt) {
    auto other = connectToX11();
    ASSERT_TRUE(other);
    const auto place = findX11Keys(*other, {'z', 0});
    ASSERT_TRUE(place);
    xcb_grab_key(other->get(), 0, other->root(), XCB_MOD_MASK_ANY, place->keys.front(), XCB_GRAB_MODE_ASYNC,
                 XCB_GRAB_MODE_ASYNC);
    xcb_flush(other->get());
    ASSERT_TRUE(source_->listen(kRecord, logger()));
    session_->output({"xmodmap", "-e", "keysym z = r R", "-e", "keysym r = F30"});
    EXPECT_TRUE(told_.becomes({"Alt+Super+R", kHeld}));
    other->handle.reset();
    EXPECT_TRUE(told_.becomes({"Alt+Super+R", kHeld, "Alt+Super+R"}));
    type('r', {kAltLeft, kSuperLeft});
    EXPECT_TRUE(reach(1));
}

TEST_F(X11HotKeySourceTest, OutlivesItsServer) {
    ASSERT_TRUE(source_->listen(kRecord, logger()));
    ASSERT_TRUE(told_.becomes({"Alt+Super+R"}));
    session_->killServer();
    EXPECT_TRUE(told_.becomes({"Alt+Super+R", "The X server has ended, and the key with it."}));
    EXPECT_FALSE(source_->listen(kRecord, counter()));
    source_->stop();
    EXPECT_EQ(source_->listen({0x1234567, 0}, counter()).error().message.find("X server"), 4U);
}

} // namespace
} // namespace glintro
