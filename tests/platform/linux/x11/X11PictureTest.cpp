#include <algorithm>

#include <gtest/gtest.h>

#include "platform/linux/x11/X11Desktop.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/XPainter.h"
#include "tests/support/XSession.h"
#include "tests/support/XWindow.h"

namespace glintro {
namespace {

using test::XPainter;
using test::XSession;
using Kind = XPainter::Kind;

constexpr std::uint32_t kWallpaper = 0x204060;

std::uint32_t pixel(const BgraPicture& picture, int x, int y) {
    const auto* at = picture.bgra.data() + (static_cast<std::ptrdiff_t>(y) * picture.size.width + x) * 4;
    return static_cast<std::uint32_t>(at[0] | at[1] << 8 | at[2] << 16);
}

class X11PictureTest : public testing::Test {
  protected:
    void begin(std::unique_ptr<XSession> session) {
        session_ = std::move(session);
        environment_.emplace(*session_);
        painter_.emplace(session_->display());
        painter_->setWallpaper(kWallpaper);
    }
    BgraPicture pictureOf(const ContentFilter& filter, int maxSide) {
        auto picture = createX11ScreenCapture()->picture(filter, maxSide);
        if (!picture) throw std::runtime_error(picture.error().message);
        return *std::move(picture);
    }
    static std::vector<ShareableDisplay> displays() { return createX11ScreenCapture()->content()->displays; }

    std::unique_ptr<XSession> session_;
    std::optional<XSession::Environment> environment_;
    std::optional<XPainter> painter_;
};

TEST_F(X11PictureTest, OfADisplayLeavesOutOurWindowsAndOfAWindowTheOnesAboveIt) {
    if (const auto why = XSession::whyNoXvfb()) GTEST_SKIP() << *why;
    begin(XSession::xvfb(640, 480, XSession::WindowManager::openbox));
    const xcb_window_t covered = painter_->show(Kind::unmanaged, {100, 100, 300, 200}, 0x00AA00);
    painter_->show(Kind::unmanaged, {140, 120, 200, 100}, 0xCC0000);
    test::XWindow own(session_->display(), 500, 400, 120, 60, true);
    own.show();
    const std::uint32_t display = displays().at(0).id;

    const BgraPicture screen = pictureOf(DisplayFilter{display}, 640);
    EXPECT_EQ(screen.size, (PixelSize{640, 480}));
    EXPECT_EQ(pixel(screen, 390, 290), 0x00AA00U) << "below ours";
    EXPECT_EQ(pixel(screen, 200, 150), 0xCC0000U);
    EXPECT_EQ(pixel(screen, 500, 300), kWallpaper);
    EXPECT_EQ(pixel(screen, 10, 10), kWallpaper);

    const BgraPicture small = pictureOf(DisplayFilter{display, Rect{100, 100, 300, 200}}, 30);
    EXPECT_EQ(small.size, (PixelSize{30, 20}));
    EXPECT_EQ(pixel(small, 28, 18), 0x00AA00U);
    EXPECT_EQ(pixel(small, 10, 5), 0xCC0000U);

    const BgraPicture window = pictureOf(WindowFilter{covered}, 150);
    EXPECT_EQ(window.size, (PixelSize{150, 100}));
    const auto isGreen = [&](int i) { return pixel(window, i % 150, i / 150) == 0x00AA00U; };
    int green = 0;
    for (int i = 0; i < 150 * 100; ++i) green += isGreen(i) ? 1 : 0;
    EXPECT_EQ(green, 150 * 100);
}

TEST_F(X11PictureTest, SaysWhyThereIsNone) {
    if (const auto why = XSession::whyNoXvfb()) GTEST_SKIP() << *why;
    begin(XSession::xvfb(640, 480, XSession::WindowManager::openbox));
    const auto capture = createX11ScreenCapture();
    const xcb_window_t window = painter_->show(Kind::managed, {100, 100, 300, 200}, 0x00AA00);
    ASSERT_TRUE(test::waitUntil([&] { return capture->picture(WindowFilter{window}, 64).has_value(); }));
    painter_->minimise(window);
    const auto says = [&](const ContentFilter& filter, const std::string& words) {
        const auto picture = capture->picture(filter, 64);
        return !picture && picture.error().message.find(words) != std::string::npos;
    };
    EXPECT_TRUE(test::waitUntil([&] { return says(WindowFilter{window}, "minimised"); }));
    EXPECT_TRUE(says(WindowFilter{4711}, "not there any more"));
    EXPECT_TRUE(says(DisplayFilter{4711}, "not connected"));
}

// Each of several outputs, by a desktop's coordinates and by the pixels that a toolkit knows its screen by.
TEST_F(X11PictureTest, IsOfTheOutputAndTheAreaThatAreMeant) {
    if (const auto why = XSession::whyNoDummyOutputs()) GTEST_SKIP() << *why;
    begin(XSession::dummyOutputs(XSession::WindowManager::none));
    session_->plug("DUMMY1", "1280x720", "1920x0");
    session_->output({"sh", "-c", "echo 'Xft.dpi: 192' | xrdb -merge"});
    painter_->setWallpaper(kWallpaper);
    painter_->fill(0, {1920 + 640, 0, 640, 720}, 0x00AA00);
    const auto all = displays();
    const auto second = std::ranges::find(all, "DUMMY1", &ShareableDisplay::name);
    ASSERT_NE(second, all.end());
    EXPECT_EQ(second->pixels, (PixelRect{1920, 0, 1280, 720}));
    EXPECT_EQ(second->frame, (Rect{960, 0, 640, 360}));
    const BgraPicture whole = pictureOf(DisplayFilter{second->id}, 320);
    EXPECT_EQ(whole.size, (PixelSize{320, 180}));
    EXPECT_EQ(pixel(whole, 150, 90), kWallpaper);
    EXPECT_EQ(pixel(whole, 170, 90), 0x00AA00U);
    const BgraPicture area = pictureOf(DisplayFilter{second->id, Rect{1270, 100, 20, 10}}, 4000);
    EXPECT_EQ(area.size, (PixelSize{40, 20}));
    EXPECT_EQ(pixel(area, 19, 10), kWallpaper);
    EXPECT_EQ(pixel(area, 20, 10), 0x00AA00U);
}

} // namespace
} // namespace glintro
