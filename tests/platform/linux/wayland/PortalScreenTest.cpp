#include <algorithm>
#include <csignal>
#include <fstream>
#include <future>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/HostClock.h"
#include "platform/linux/wayland/WaylandDesktop.h"
#include "tests/platform/linux/wayland/FrameLog.h"
#include "tests/platform/linux/wayland/MutterRemote.h"
#include "tests/platform/linux/wayland/WaylandWindow.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/WaylandSession.h"

namespace glintro {
namespace {

using test::environmentOf;
using test::FrameLog;
using test::insideWaylandSession;
using test::MutterRemote;
using test::waitUntil;
using test::WaylandWindow;

constexpr std::uint32_t kRed = 0xFF0000, kGreen = 0x00FF00, kBlue = 0x0000FF, kGrey = 0x404040;

std::filesystem::path tokenFile() {
    return std::filesystem::path(environmentOf("HOME")) / ".local/state/glintro/screen.token";
}

void remember(const std::string& token) {
    std::filesystem::create_directories(tokenFile().parent_path());
    std::ofstream(tokenFile()) << token;
}

// Opens the monitor, with the question answered beforehand.
Result<std::unique_ptr<ScreenStream>> openScreen(std::optional<Rect> area = {}) {
    remember(environmentOf("GLINTRO_TEST_TOKEN"));
    auto capture = createPortalScreenCapture();
    const auto content = capture->content();
    if (!content) return std::unexpected(content.error());
    return capture->open(DisplayFilter{content->displays.at(0).id, area}, {});
}

void killTestProgram(const char* variable) {
    ::kill(std::stoi(environmentOf(variable)), SIGKILL);
}

TEST(PortalScreen, ShowsWhatIsDrawnToThePixel) {
    insideWaylandSession([] {
        WaylandWindow window({});
        ASSERT_EQ(window.size(), (PixelSize{1280, 720}));
        window.show({{{0, 0, 1280, 720}, kGrey}, {{100, 50, 1, 1}, kRed}, {{1279, 719, 1, 1}, kGreen}});

        auto stream = openScreen();
        ASSERT_TRUE(stream) << stream.error().message << stream.error().detail;
        EXPECT_EQ((*stream)->pixelSize(), (PixelSize{1280, 720}));
        EXPECT_EQ((*stream)->frame(), (Rect{0, 0, 1280, 720}));
        EXPECT_FALSE((*stream)->pointerIsEmbedded());
        FrameLog log;
        ASSERT_TRUE((*stream)->start({}, log.handlers()));
        ASSERT_TRUE(waitUntil([&] { return log.colourAt(100, 50) == kRed; }));
        EXPECT_EQ(log.colourAt(101, 50), kGrey);
        EXPECT_EQ(log.colourAt(1279, 719), kGreen);
        EXPECT_EQ(log.colourAt(1278, 719), kGrey);
        EXPECT_EQ(log.entries().front().changed, (std::vector<RowRange>{{0, 720}}));

        const Seconds before = hostTime();
        window.show({{{640, 360, 20, 20}, kBlue}});
        ASSERT_TRUE(waitUntil([&] { return log.colourAt(659, 379) == kBlue; }));
        EXPECT_EQ(log.colourAt(660, 380), kGrey);
        const auto isNew = [&](const FrameLog::Entry& entry) {
            return entry.hostTime >= before && entry.hostTime <= hostTime();
        };
        EXPECT_TRUE(std::ranges::any_of(log.entries(), isNew));

        (*stream)->stop();
        const std::size_t count = log.entries().size();
        window.show({{{0, 0, 1280, 720}, kRed}});
        EXPECT_FALSE(waitUntil([&] { return log.entries().size() > count; }, std::chrono::milliseconds(300)));
    });
}

TEST(PortalScreen, RepeatsAStillScreenEachSecond) {
    insideWaylandSession([] {
        auto stream = openScreen();
        ASSERT_TRUE(stream) << stream.error().message << stream.error().detail;
        FrameLog log;
        ASSERT_TRUE((*stream)->start({}, log.handlers()));
        ASSERT_TRUE(waitUntil([&] { return log.entries().size() >= 4; }));
        (*stream)->stop();
        const auto frames = log.entries();
        for (std::size_t i = 1; i < frames.size(); ++i) {
            EXPECT_TRUE(frames[i].changed.empty()) << i;
            EXPECT_GE(frames[i].hostTime - frames[i - 1].hostTime, 0.99) << i;
        }
    });
}

TEST(PortalScreen, RecordsAnAreaOfTheScreen) {
    insideWaylandSession([] {
        WaylandWindow window({});
        window.show({{{0, 0, 1280, 720}, kGrey}, {{200, 100, 300, 200}, kRed}});
        auto stream = openScreen(Rect{200, 100, 300, 200});
        ASSERT_TRUE(stream) << stream.error().message << stream.error().detail;
        EXPECT_EQ((*stream)->pixelSize(), (PixelSize{300, 200}));
        EXPECT_EQ((*stream)->frame(), (Rect{200, 100, 300, 200}));
        FrameLog log;
        ASSERT_TRUE((*stream)->start({}, log.handlers()));
        ASSERT_TRUE(waitUntil([&] { return log.colourAt(0, 0) == kRed; }))
            << "colour " << log.colourAt(0, 0).value_or(0) << " after " << log.entries().size() << " frames";
        EXPECT_EQ(log.colourAt(299, 199), kRed);
        EXPECT_EQ(log.entries().front().size, (PixelSize{300, 200}));
    });
}

TEST(PortalScreen, FollowsThePointer) {
    insideWaylandSession([] {
        WaylandWindow window({});
        window.show({{{0, 0, 1280, 720}, kGrey}});
        MutterRemote remote;
        auto screen = openScreen();
        auto area = openScreen(Rect{200, 100, 300, 200});
        ASSERT_TRUE(screen && area);
        FrameLog log;
        ASSERT_TRUE((*screen)->start({}, log.handlers()));
        // Positions are the desktop's, whatever part of it is recorded, also outside of that part.
        for (const Point point :
             {Point{10, 20}, Point{640, 360}, Point{210, 110}, Point{1279, 719}, Point{0, 0}}) {
            remote.movePointerTo(point.x, point.y);
            for (ScreenStream* stream : {screen->get(), area->get()}) {
                EXPECT_TRUE(waitUntil([&] { return stream->pointer().position() == point; }))
                    << point.x << " " << stream->pointer().position().value_or(Point{-1, -1}).x;
            }
        }
        EXPECT_EQ(log.colourAt(0, 0), kGrey) << "the pointer is in the picture";
    });
}

// Each in a desktop of its own: GNOME's portal at times dies of a dialog that is taken back.
class PortalScreenAsks : public ::testing::TestWithParam<std::string> {};

TEST_P(PortalScreenAsks, UntilTheQuestionIsTakenBack) {
    insideWaylandSession([] {
        remember(GetParam());
        std::stop_source cancel;
        auto opened = std::async(std::launch::async, [&] {
            return createPortalScreenCapture()->open(DisplayFilter{1}, cancel.get_token());
        });
        EXPECT_EQ(opened.wait_for(std::chrono::seconds(2)), std::future_status::timeout);
        cancel.request_stop();
        const auto result = opened.get();
        ASSERT_FALSE(result);
        EXPECT_TRUE(result.error().isCancelled()) << result.error().message;
    });
}

INSTANTIATE_TEST_SUITE_P(WithoutAGoodToken, PortalScreenAsks,
                         ::testing::Values("", "no token", "99999999-2222-4333-8444-555555555555"));

class PortalScreenEnds : public ::testing::TestWithParam<const char*> {};

TEST_P(PortalScreenEnds, WithOneSentence) {
    insideWaylandSession([] {
        auto stream = openScreen();
        ASSERT_TRUE(stream) << stream.error().message << stream.error().detail;
        FrameLog log;
        ASSERT_TRUE((*stream)->start({}, log.handlers()));
        ASSERT_TRUE(waitUntil([&] { return !log.entries().empty(); }));
        EXPECT_TRUE(log.ends().empty());
        killTestProgram(GetParam());
        ASSERT_TRUE(waitUntil([&] { return !log.ends().empty(); }));
        (*stream)->stop();
        EXPECT_EQ(log.ends().size(), 1U);
        EXPECT_TRUE(log.ends().front().message.ends_with("."));
    });
}

INSTANTIATE_TEST_SUITE_P(When, PortalScreenEnds,
                         ::testing::Values("GLINTRO_TEST_MUTTER", "GLINTRO_TEST_PIPEWIRE",
                                           "GLINTRO_TEST_GNOME", "GLINTRO_TEST_PORTAL"),
                         [](const auto& row) { return std::string(row.param).substr(13) + "Dies"; });

} // namespace
} // namespace glintro
