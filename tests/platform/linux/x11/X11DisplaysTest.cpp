#include <gtest/gtest.h>

#include "platform/linux/x11/X11Content.h"
#include "tests/support/XSession.h"

namespace glintro {
namespace {

using test::XSession;

// Name and frame of each display, in order.
using Layout = std::vector<std::pair<std::string, Rect>>;

std::vector<ShareableDisplay> displays() {
    const Result<X11Connection> connection = connectToX11();
    EXPECT_TRUE(connection);
    return x11Displays(*connection).value_or(std::vector<ShareableDisplay>{});
}

Layout layout() {
    Layout all;
    for (const ShareableDisplay& each : displays()) all.emplace_back(each.name, each.frame);
    return all;
}

TEST(X11Displays, AreTheMonitorsOfAScreenThatIsDivided) {
    if (const auto why = XSession::whyNoXvfb()) GTEST_SKIP() << *why;
    const auto session = XSession::xvfb(1920, 1080, XSession::WindowManager::none);
    const XSession::Environment environment(*session);
    EXPECT_EQ(layout(), (Layout{{"screen", {0, 0, 1920, 1080}}}));
    session->output({"xrandr", "--setmonitor", "LEFT", "960/254x1080/286+0+0", "screen"});
    session->output({"xrandr", "--setmonitor", "*RIGHT", "960/254x1080/286+960+0", "none"});
    EXPECT_EQ(layout(), (Layout{{"RIGHT", {960, 0, 960, 1080}}, {"LEFT", {0, 0, 960, 1080}}}));
    session->output({"sh", "-c", "printf 'Xcursor.size: 48\\nXft.dpi:\\t120\\n' | xrdb -nocpp -merge"});
    EXPECT_EQ(layout(), (Layout{{"RIGHT", {768, 0, 768, 864}}, {"LEFT", {0, 0, 768, 864}}}));
    EXPECT_EQ(displays().front().scale, 1.25);
}

TEST(X11Displays, AreTheWholeScreenWhereMonitorsAreUnknown) {
    if (const auto why = XSession::whyNoXvfb()) GTEST_SKIP() << *why;
    const auto session = XSession::xvfb(800, 600, XSession::WindowManager::none, {"-extension", "RANDR"});
    const XSession::Environment environment(*session);
    EXPECT_EQ(layout(), (Layout{{"", {0, 0, 800, 600}}}));
}

TEST(X11Displays, AreTheOutputsThePrimaryOneFirstAndKeepTheirIds) {
    if (const auto why = XSession::whyNoDummyOutputs()) GTEST_SKIP() << *why;
    const auto session = XSession::dummyOutputs(XSession::WindowManager::none);
    const XSession::Environment environment(*session);
    session->plug("DUMMY1", "1280x720", "1920x0");
    EXPECT_EQ(layout(), (Layout{{"DUMMY0", {0, 0, 1920, 1080}}, {"DUMMY1", {1920, 0, 1280, 720}}}));
    const std::uint32_t id = displays()[1].id;
    EXPECT_NE(id, displays()[0].id);

    session->output({"xrandr", "--output", "DUMMY1", "--primary"});
    EXPECT_EQ(layout()[0].first, "DUMMY1");
    EXPECT_EQ(displays()[0].id, id);

    session->output({"xrandr", "--output", "DUMMY1", "--off"});
    EXPECT_EQ(layout(), (Layout{{"DUMMY0", {0, 0, 1920, 1080}}}));
    session->plug("DUMMY1", "1280x720", "0x1080");
    EXPECT_EQ(displays()[0].id, id) << "plugged in again";
}

} // namespace
} // namespace glintro
