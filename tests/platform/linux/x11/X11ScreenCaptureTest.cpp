#include <cmath>

#include <gtest/gtest.h>

#include "platform/linux/x11/X11Desktop.h"
#include "tests/support/XSession.h"

namespace glintro {
namespace {

using test::XSession;

TEST(X11ScreenCapture, SaysWhatIsWrongInOneSentence) {
    if (const auto why = XSession::whyNoXvfb()) GTEST_SKIP() << *why;
    const auto capture = createX11ScreenCapture();
    const auto messageOf = [&](const ContentFilter& filter) {
        const auto stream = capture->open(filter, {});
        return stream ? "opened" : stream.error().message;
    };
    {
        const test::ScopedEnvironment noDisplay("DISPLAY", std::nullopt);
        EXPECT_FALSE(capture->hasAccess());
        EXPECT_NE(capture->content().error().message.find("set DISPLAY"), std::string::npos);
    }
    {
        const test::ScopedEnvironment noServer("DISPLAY", ":4711");
        EXPECT_FALSE(capture->hasAccess());
        EXPECT_NE(capture->content().error().message.find(":4711"), std::string::npos);
    }
    const auto session = XSession::xvfb(800, 600, XSession::WindowManager::none);
    const XSession::Environment environment(*session);
    EXPECT_TRUE(capture->hasAccess());
    const auto content = capture->content();
    ASSERT_TRUE(content);
    ASSERT_EQ(content->displays.size(), 1U);
    const std::uint32_t display = content->displays[0].id;
    const struct {
        ContentFilter filter;
        const char* says;
    } rows[] = {
        {DisplayFilter{display + 1}, "not connected"},
        {DisplayFilter{display, Rect{10, 10, 0, 50}}, "empty"},
        {DisplayFilter{display, Rect{10, 10, 50, -5}}, "empty"},
        {DisplayFilter{display, Rect{10, 10, std::nan(""), 50}}, "empty"},
        {DisplayFilter{display, Rect{900, 10, 50, 50}}, "does not lie on one display"},
        {DisplayFilter{display, Rect{790, 590, 11, 10}}, "does not lie on one display"},
        {DisplayFilter{display, Rect{-1, 0, 50, 50}}, "does not lie on one display"},
        {DisplayFilter{display, Rect{std::nan(""), 0, 50, 50}}, "does not lie on one display"},
    };
    for (const auto& row : rows)
        EXPECT_NE(messageOf(row.filter).find(row.says), std::string::npos) << row.says;
}

} // namespace
} // namespace glintro
