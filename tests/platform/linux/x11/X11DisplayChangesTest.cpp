#include <algorithm>

#include <gtest/gtest.h>

#include "platform/linux/x11/X11Content.h"
#include "platform/linux/x11/X11Streams.h"
#include "tests/support/FrameWatch.h"
#include "tests/support/XPainter.h"
#include "tests/support/XSession.h"

namespace glintro {
namespace {

using test::FrameWatch;
using test::waitUntil;
using test::XPainter;
using test::XSession;

// A real server whose outputs are plugged, turned and scaled while a stream runs.
class X11DisplayChangesTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const auto why = XSession::whyNoDummyOutputs()) GTEST_SKIP() << *why;
        session_ = XSession::dummyOutputs(XSession::WindowManager::none);
        environment_.emplace(*session_);
        session_->plug("DUMMY1", "1280x720", "1920x0");
        painter_.emplace(session_->display());
        painter_->setWallpaper(0x204060);
    }

    static ShareableDisplay displayNamed(const std::string& name) {
        const auto displays = x11Displays(*connectToX11());
        const auto found = std::ranges::find(*displays, name, &ShareableDisplay::name);
        if (found == displays->end()) throw std::runtime_error("no display " + name);
        return *found;
    }
    static std::unique_ptr<ScreenStream> open(const std::string& name,
                                              std::optional<Rect> part = std::nullopt) {
        auto stream = openX11Display(displayNamed(name), part);
        if (!stream) throw std::runtime_error(stream.error().message);
        return std::move(*stream);
    }
    // A spot of 10 x 10 whose corner is at this place of the root window.
    void spot(int x, int y, std::uint32_t colour) { painter_->fill(0, {x, y, 10, 10}, colour); }

    std::unique_ptr<XSession> session_;
    std::optional<XSession::Environment> environment_;
    std::optional<XPainter> painter_;
};

TEST_F(X11DisplayChangesTest, ADisplayThatIsUnpluggedEndsItsStreamAndNoOther) {
    const auto unplugged = open("DUMMY1");
    const auto kept = open("DUMMY0");
    FrameWatch unpluggedWatch(*unplugged), keptWatch(*kept);
    spot(1920, 0, 0x00AA00);
    ASSERT_TRUE(unpluggedWatch.shows(5, 5, 0x00AA00));
    session_->output({"xrandr", "--output", "DUMMY1", "--off"});
    ASSERT_TRUE(waitUntil([&] { return !unpluggedWatch.stopped().empty(); }));
    EXPECT_EQ(unpluggedWatch.stopped(),
              std::vector{Failure{"The display was disconnected, so the recording ended."}});
    spot(100, 100, 0x0000BB);
    EXPECT_TRUE(keptWatch.shows(105, 105, 0x0000BB));
    EXPECT_TRUE(keptWatch.stopped().empty());
    EXPECT_EQ(unpluggedWatch.wrong() + keptWatch.wrong(), "");
}

TEST_F(X11DisplayChangesTest, ANewResolutionOrPlaceIsFollowed) {
    session_->output({"xrandr", "--addmode", "DUMMY1", "1920x1080"});
    const auto stream = open("DUMMY1");
    const auto inside = open("DUMMY1", Rect{1930, 20, 300, 200});
    const auto outside = open("DUMMY0", Rect{1500, 900, 300, 100});
    FrameWatch watch(*stream), insideWatch(*inside), outsideWatch(*outside);
    ASSERT_TRUE(watch.hasSize({1280, 720}) && insideWatch.hasSize({300, 200})
                && outsideWatch.hasSize({300, 100}));
    session_->output({"xrandr", "--output", "DUMMY0", "--mode", "1280x720", "--output", "DUMMY1", "--mode",
                      "1920x1080", "--pos", "1280x0"});
    ASSERT_TRUE(watch.hasSize({1920, 1080}));
    EXPECT_TRUE(waitUntil([&] { return inside->frame() == Rect{1290, 20, 300, 200}; }));
    EXPECT_EQ(stream->frame(), (Rect{1280, 0, 1920, 1080}));
    spot(1290, 20, 0x00AA00);
    EXPECT_TRUE(watch.shows(15, 25, 0x00AA00));
    EXPECT_TRUE(insideWatch.shows(5, 5, 0x00AA00));
    ASSERT_TRUE(waitUntil([&] { return !outsideWatch.stopped().empty(); }));
    EXPECT_EQ(
        outsideWatch.stopped().front().message,
        "The display's resolution changed and the recorded area is no longer on it, so the recording ended.");
    EXPECT_EQ(watch.wrong() + insideWatch.wrong() + outsideWatch.wrong(), "");
}

// A turned screen is upright in its pixels, and so are areas on it.
TEST(X11TurnedDisplay, ShowsUprightPixelsHoweverItIsTurned) {
    if (const auto why = XSession::whyNoTurnable()) GTEST_SKIP() << *why;
    const auto host = XSession::xvfb(800, 800, XSession::WindowManager::none);
    const auto session = XSession::turnable(*host);
    const XSession::Environment environment(*session);
    XPainter painter(session->display());
    const ShareableDisplay display = x11Displays(*connectToX11())->at(0);
    const auto stream = openX11Display(display, std::nullopt);
    const auto area = openX11Display(display, Rect{100, 50, 300, 200});
    ASSERT_TRUE(stream && area);
    FrameWatch watch(**stream), areaWatch(**area);
    const struct {
        const char* direction;
        PixelSize size;
    } rows[] = {
        {"left", {480, 640}}, {"inverted", {640, 480}}, {"right", {480, 640}}, {"normal", {640, 480}}};
    std::uint32_t colour = 0x102030;
    for (const auto& row : rows) {
        session->output({"xrandr", "-o", row.direction});
        ASSERT_TRUE(watch.hasSize(row.size)) << row.direction;
        painter.fill(0, {110, 70, 20, 10}, colour);
        EXPECT_TRUE(watch.shows(129, 79, colour)) << row.direction;
        EXPECT_TRUE(areaWatch.shows(29, 29, colour)) << row.direction;
        colour += 0x202020;
    }
    EXPECT_EQ(watch.wrong() + areaWatch.wrong(), "");
    EXPECT_TRUE(watch.stopped().empty() && areaWatch.stopped().empty());
}

} // namespace
} // namespace glintro
