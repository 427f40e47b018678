#include <atomic>
#include <filesystem>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "platform/HostClock.h"
#include "platform/linux/x11/X11PointerSource.h"
#include "platform/linux/x11/X11PressRecorder.h"
#include "tests/support/SharedLog.h"
#include "tests/support/XSession.h"

namespace glintro {
namespace {

using test::waitUntil;
using test::XSession;

class Presses : public test::SharedLog<PointerPress> {
  public:
    PointerSource::PressHandler handler() {
        return [this](const PointerPress& press) { add(press); };
    }
};

class X11PointerSourceTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const auto why = XSession::whyNoXvfb()) GTEST_SKIP() << *why;
        session_ = XSession::xvfb();
        environment_.emplace(*session_);
    }

    std::unique_ptr<XSession> session_;
    std::optional<XSession::Environment> environment_;
};

struct Injected {
    int x = 0;
    int y = 0;
    Seconds before = 0;
    Seconds after = 0;
};

Injected injectClick(test::XInjector& injector, int x, int y, std::uint8_t button) {
    Injected injected{x, y};
    injector.move(x, y);
    injected.before = hostTime();
    injector.press(button);
    injected.after = hostTime();
    injector.release(button);
    return injected;
}

// A pointer that rushes on right after each press is what makes asking for the position too late.
TEST_F(X11PointerSourceTest, PutsEveryClickOnItsPixelAndItsTimeWhileThePointerMovesOn) {
    Presses presses;
    const auto source = createX11PointerSource(1);
    ASSERT_TRUE(source->start(presses.handler()));
    std::mt19937 random(4);
    std::vector<Injected> injected;
    for (int i = 0; i < 300; ++i) {
        const int x = static_cast<int>(random() % 1920), y = static_cast<int>(random() % 1080);
        injected.push_back(injectClick(session_->injector(), x, y, i % 3 == 0 ? 3 : 1));
        session_->injector().move(static_cast<int>(random() % 1920), static_cast<int>(random() % 1080));
    }
    ASSERT_TRUE(presses.reaches(injected.size()));
    source->stop();
    for (std::size_t i = 0; i < injected.size(); ++i) {
        const PointerPress press = presses.all()[i];
        EXPECT_EQ(press.position, (Point{double(injected[i].x), double(injected[i].y)})) << i;
        EXPECT_EQ(press.button == PointerPress::Button::right, i % 3 == 0) << i;
        EXPECT_GE(press.hostTime, injected[i].before - 0.005) << i;
        EXPECT_LE(press.hostTime, injected[i].after + 0.005) << i;
    }
}

TEST_F(X11PointerSourceTest, LeavesOutTheMiddleButtonAndTheWheel) {
    Presses presses;
    const auto source = createX11PointerSource(1);
    ASSERT_TRUE(source->start(presses.handler()));
    for (const int button : {2, 4, 5, 6, 7, 1}) {
        injectClick(session_->injector(), 50, 60, static_cast<std::uint8_t>(button));
    }
    ASSERT_TRUE(presses.reaches(1));
    EXPECT_EQ(presses.all().front().button, PointerPress::Button::left);
}

TEST_F(X11PointerSourceTest, SeesClicksThatAnotherProgramHasGrabbed) {
    const test::XConnection other = test::connectTo(session_->display());
    const auto cookie =
        xcb_grab_pointer(other.get(), 0, test::rootOf(other.get()), XCB_EVENT_MASK_BUTTON_PRESS,
                         XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC, XCB_NONE, XCB_NONE, XCB_CURRENT_TIME);
    const std::unique_ptr<xcb_grab_pointer_reply_t, void (*)(void*)> reply(
        xcb_grab_pointer_reply(other.get(), cookie, nullptr), std::free);
    ASSERT_TRUE(reply && reply->status == XCB_GRAB_STATUS_SUCCESS);
    Presses presses;
    const auto source = createX11PointerSource(1);
    ASSERT_TRUE(source->start(presses.handler()));
    injectClick(session_->injector(), 700, 300, 1);
    ASSERT_TRUE(presses.reaches(1));
    EXPECT_EQ(presses.all().front().position, (Point{700, 300}));
}

TEST_F(X11PointerSourceTest, CountsInPoints) {
    Presses presses;
    const auto source = createX11PointerSource(2);
    EXPECT_FALSE(source->position()) << "not started";
    ASSERT_TRUE(source->start(presses.handler()));
    injectClick(session_->injector(), 301, 200, 1);
    EXPECT_EQ(source->position(), (Point{150.5, 100}));
    ASSERT_TRUE(presses.reaches(1));
    EXPECT_EQ(presses.all().front().position, (Point{150.5, 100}));
    EXPECT_FALSE(source->whyNoPresses());
    source->stop();
    EXPECT_FALSE(source->position()) << "stopped";
}

std::size_t openDescriptors() {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

TEST_F(X11PointerSourceTest, StartsAndStopsAgainAndAgainWithoutLosingTheLastClick) {
    const auto source = createX11PointerSource(1);
    const std::size_t before = openDescriptors();
    for (int i = 0; i < 50; ++i) {
        Presses presses;
        ASSERT_TRUE(source->start(presses.handler()));
        injectClick(session_->injector(), 10 + i, 20, 1);
        source->stop();
        ASSERT_EQ(presses.all().size(), 1U) << i;
        EXPECT_EQ(presses.all().front().position, (Point{10.0 + i, 20})) << i;
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(X11PointerSourceTest, OutlivesItsServer) {
    Presses presses;
    const auto source = createX11PointerSource(1);
    ASSERT_TRUE(source->start(presses.handler()));
    ASSERT_TRUE(source->position());
    session_->killServer();
    EXPECT_FALSE(source->position());
    source->stop();
    const Result<void> again = source->start(presses.handler());
    ASSERT_FALSE(again);
    EXPECT_NE(again.error().message.find(session_->display()), std::string::npos);
}

// Another program that keeps the server to itself must not keep us from ending.
TEST_F(X11PointerSourceTest, StopsWhileTheServerServesAnotherProgramOnly) {
    Presses presses;
    const auto source = createX11PointerSource(1);
    ASSERT_TRUE(source->start(presses.handler()));
    const test::XConnection other = test::connectTo(session_->display());
    xcb_grab_server(other.get());
    test::synchronise(other.get());
    std::atomic<bool> answered = false;
    std::jthread asking([&] {
        source->position();
        answered = true;
    });
    source->stop();
    EXPECT_TRUE(waitUntil([&] { return answered.load(); }));
}

// A server that has begun to show presses may stop, by another program's doing.
TEST_F(X11PointerSourceTest, WarnsOnceWhenTheServerStopsShowingClicks) {
    const Result<X11Connection> control = connectToX11();
    const std::uint32_t before = xcb_generate_id(control->get());
    std::atomic<int> warnings = 0;
    std::atomic<int> presses = 0;
    auto recorder = X11PressRecorder::create(
        *control, 1, {[&](const PointerPress&) { ++presses; }, [&](const std::string&) { ++warnings; }});
    ASSERT_TRUE(recorder);
    EXPECT_TRUE((*recorder)->isRecording());
    const xcb_record_context_t context = before + 1; // identifiers are given out in turn
    const test::XConnection other = test::connectTo(session_->display());
    xcb_record_disable_context(other.get(), context);
    test::synchronise(other.get());
    EXPECT_TRUE(waitUntil([&] { return warnings == 1; }));
    injectClick(session_->injector(), 50, 60, 1);
    recorder->reset();
    EXPECT_EQ(presses, 0);
    EXPECT_EQ(warnings, 1);
}

TEST(X11PointerSourceWithoutRecord, GivesPositionsAndSaysWhatIsMissing) {
    if (const auto why = XSession::whyNoXvfb()) GTEST_SKIP() << *why;
    const auto session = XSession::xvfb(800, 600, XSession::WindowManager::none, {"-extension", "RECORD"});
    const XSession::Environment environment(*session);
    Presses presses;
    const auto source = createX11PointerSource(1);
    ASSERT_TRUE(source->start(presses.handler()));
    ASSERT_TRUE(source->whyNoPresses());
    EXPECT_NE(source->whyNoPresses()->find("RECORD"), std::string::npos);
    const test::XConnection other = test::connectTo(session->display()); // XTEST goes with RECORD
    xcb_warp_pointer(other.get(), XCB_NONE, test::rootOf(other.get()), 0, 0, 0, 0, 31, 42);
    test::synchronise(other.get());
    EXPECT_EQ(source->position(), (Point{31, 42}));
}

TEST(X11ServerTime, IsPutOnTheHostClock) {
    constexpr Seconds wrap = 4294967.296; // 2^32 ms
    const struct {
        const char* what;
        std::uint32_t serverTime;
        Seconds arrival, expected;
    } rows[] = {
        {"stamped just before", 1'000'000, 1000.0042, 1000.0},
        {"stamped while the thread waited", 1'000'000, 1003.5, 1000.0},
        {"a coarse clock ahead by a tick", 1'000'004, 1000.0, 1000.004},
        {"just before the wrap, seen after it", 0xFFFFFFFF, wrap + 0.001, wrap - 0.001},
        {"long after a wrap", 7'000, 3 * wrap + 7.0015, 3 * wrap + 7.0},
        {"another machine's clock", 500'000, 1000.0, 1000.0},
        {"another machine's clock, ahead", 1'000'900, 1000.0, 1000.0},
    };
    for (const auto& row : rows) {
        EXPECT_NEAR(hostTimeOfX11(row.serverTime, row.arrival), row.expected, 1e-6) << row.what;
    }
}

} // namespace
} // namespace glintro
