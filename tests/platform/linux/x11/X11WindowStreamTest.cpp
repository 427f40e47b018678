#include <gtest/gtest.h>

#include "platform/linux/x11/X11Content.h"
#include "platform/linux/x11/X11Streams.h"
#include "platform/linux/x11/X11WindowShape.h"
#include "tests/support/FrameWatch.h"
#include "tests/support/XPainter.h"
#include "tests/support/XSession.h"

namespace glintro {
namespace {

using test::FrameWatch;
using test::waitUntil;
using test::XPainter;
using test::XSession;

constexpr std::uint32_t kGreen = 0x00AA00;
constexpr std::uint32_t kBlue = 0x0000BB;
constexpr std::uint32_t kRed = 0xCC0000;

class X11WindowStreamTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const auto why = XSession::whyNoXvfb()) GTEST_SKIP() << *why;
        session_ = XSession::xvfb(800, 600);
        environment_.emplace(*session_);
        painter_.emplace(session_->display());
        connection_ = std::move(*connectToX11());
    }

    // A window in the window manager's frame, when that stands.
    xcb_window_t showManaged(const PixelRect& place, std::uint32_t colour) {
        const xcb_window_t window = painter_->show(XPainter::Kind::managed, place, colour);
        EXPECT_TRUE(waitUntil([&] {
            const auto shape = x11WindowShape(connection_, window);
            return shape && shape->isViewable && shape->frame != window
                   && shape->visible.y < innerOf(window).y;
        }));
        return window;
    }

    X11WindowShape shapeOf(xcb_window_t window) const { return x11WindowShape(connection_, window).value(); }
    // What the program itself draws on, from the root's corner.
    PixelRect innerOf(xcb_window_t window) const {
        const auto place = xcb_translate_coordinates(connection_.get(), window, connection_.root(), 0, 0);
        const auto size = xcb_get_geometry(connection_.get(), window);
        const X11Reply<xcb_translate_coordinates_reply_t> at(
            xcb_translate_coordinates_reply(connection_.get(), place, nullptr));
        const X11Reply<xcb_get_geometry_reply_t> of(xcb_get_geometry_reply(connection_.get(), size, nullptr));
        return at && of ? PixelRect{at->dst_x, at->dst_y, of->width, of->height} : PixelRect{};
    }

    static std::unique_ptr<ScreenStream> open(xcb_window_t window) {
        auto stream = openX11Window(window);
        if (!stream) throw std::runtime_error(stream.error().message);
        return std::move(*stream);
    }

    std::unique_ptr<XSession> session_;
    std::optional<XSession::Environment> environment_;
    std::optional<XPainter> painter_;
    X11Connection connection_;
};

// What content() says of a window and what its stream covers are the same rectangle.
TEST_F(X11WindowStreamTest, ShowsTheWindowWithItsTitleBar) {
    const xcb_window_t window = showManaged({100, 80, 300, 200}, kGreen);
    const auto stream = open(window);
    const auto windows = x11Windows(connection_);
    ASSERT_EQ(windows->size(), 1U);
    EXPECT_EQ(stream->frame(), windows->front().frame);
    EXPECT_GT(stream->pixelSize().height, 200);
    FrameWatch watch(*stream);
    const PixelRect visible = shapeOf(window).visible;
    const PixelRect inner = innerOf(window);
    EXPECT_TRUE(watch.shows(inner.x - visible.x, inner.y - visible.y, kGreen));
    EXPECT_TRUE(watch.shows(inner.right() - 1 - visible.x, inner.bottom() - 1 - visible.y, kGreen));
    EXPECT_NE(watch.pixel(visible.width / 2, (inner.y - visible.y) / 2), kGreen);
    EXPECT_TRUE(waitUntil([&] { return watch.repeats() >= 2; })) << "a still window is left alone";
}

TEST_F(X11WindowStreamTest, FollowsAWindowThatIsCoveredAndMoved) {
    const xcb_window_t window = showManaged({100, 80, 300, 200}, kGreen);
    const auto stream = open(window);
    FrameWatch watch(*stream);
    ASSERT_TRUE(watch.shows(150, 100, kGreen));
    painter_->show(XPainter::Kind::unmanaged, {0, 0, 800, 600}, kRed);
    watch.forbid(kRed);
    const PixelRect visible = shapeOf(window).visible;
    const PixelRect inner = innerOf(window);
    const auto paint = [&](int x, std::uint32_t colour) {
        return waitUntil([&] {
            painter_->fill(window, {x, 50, 10, 10}, colour);
            return watch.pixel(inner.x - visible.x + x + 5, inner.y - visible.y + 55) == colour;
        });
    };
    EXPECT_TRUE(paint(20, kBlue));
    painter_->place(window, {250, 180, 300, 200});
    EXPECT_TRUE(waitUntil([&] { return stream->frame().x > visible.x + 100; }));
    const PixelRect moved = shapeOf(window).visible;
    EXPECT_EQ(stream->frame(),
              (Rect{double(moved.x), double(moved.y), double(moved.width), double(moved.height)}));
    EXPECT_TRUE(paint(60, 0xBB00BB));
    EXPECT_EQ(watch.wrong(), "");
    EXPECT_TRUE(watch.stopped().empty());
}

TEST_F(X11WindowStreamTest, FollowsANewSizeAndTellsWhereTheFittedPictureLies) {
    const xcb_window_t window = painter_->show(XPainter::Kind::unmanaged, {100, 80, 300, 200}, kGreen);
    const auto stream = open(window);
    ASSERT_EQ(stream->pixelSize(), (PixelSize{300, 200}));
    FrameWatch watch(*stream);
    ASSERT_TRUE(watch.shows(299, 199, kGreen));
    painter_->place(window, {40, 60, 600, 200});
    ASSERT_TRUE(watch.hasSize({600, 200}));
    EXPECT_TRUE(watch.shows(599, 199, kGreen));
    // 600 x 200 in 300 x 200: half as large, with 50 rows of bars above and below.
    EXPECT_EQ(stream->frame(), (Rect{40, -40, 600, 400}));
    EXPECT_EQ(stream->pixelSize(), (PixelSize{300, 200}));
    for (int i = 0; i < 60; ++i) painter_->place(window, {40, 60, 600 - i * 5, 200 + i * 2});
    ASSERT_TRUE(watch.hasSize({305, 318}));
    painter_->fill(window, {300, 310, 5, 8}, kBlue);
    EXPECT_TRUE(watch.shows(304, 317, kBlue));
    EXPECT_EQ(watch.wrong(), "");
    EXPECT_TRUE(watch.stopped().empty());
}

TEST_F(X11WindowStreamTest, HoldsThePictureOfAMinimisedWindowUntilItComesBack) {
    const xcb_window_t window = showManaged({100, 80, 300, 200}, kGreen);
    const auto stream = open(window);
    const PixelSize size = stream->pixelSize();
    FrameWatch watch(*stream);
    ASSERT_TRUE(watch.shows(150, 100, kGreen));
    for (int i = 0; i < 3; ++i) {
        painter_->minimise(window);
        ASSERT_TRUE(waitUntil([&] { return !shapeOf(window).isViewable; }));
        const int before = watch.repeats();
        EXPECT_TRUE(waitUntil([&] { return watch.repeats() > before; }));
        EXPECT_EQ(watch.size(), size);
        EXPECT_EQ(watch.pixel(150, 100), kGreen);
        painter_->map(window);
        EXPECT_TRUE(waitUntil([&] {
            painter_->fill(window, {0, 0, 300, 200}, kBlue + static_cast<std::uint32_t>(i));
            return watch.pixel(150, 100) == kBlue + static_cast<std::uint32_t>(i);
        }));
        painter_->fill(window, {0, 0, 300, 200}, kGreen);
        EXPECT_TRUE(watch.shows(150, 100, kGreen));
    }
    painter_->minimise(window);
    ASSERT_TRUE(waitUntil([&] { return !shapeOf(window).isViewable; }));
    const auto another = openX11Window(window);
    ASSERT_FALSE(another);
    EXPECT_EQ(another.error().message,
              "The window to record is minimised: bring it back to the screen first.");
    EXPECT_EQ(watch.wrong(), "");
}

TEST_F(X11WindowStreamTest, EndsWhenTheWindowIsClosed) {
    for (const auto kind :
         {XPainter::Kind::managed, XPainter::Kind::unmanaged, XPainter::Kind::transparent}) {
        const xcb_window_t window = kind == XPainter::Kind::managed
                                        ? showManaged({100, 80, 300, 200}, kGreen)
                                        : painter_->show(kind, {100, 80, 300, 200}, kGreen);
        const auto stream = open(window);
        FrameWatch watch(*stream);
        ASSERT_TRUE(watch.shows(150, 100, kGreen));
        painter_->close(window);
        ASSERT_TRUE(waitUntil([&] { return !watch.stopped().empty(); }));
        EXPECT_EQ(watch.stopped(), std::vector{Failure{"The window was closed, so the recording ended."}});
        EXPECT_EQ(watch.pixel(150, 100), kGreen);
        EXPECT_EQ(watch.wrong(), "");
        const auto another = openX11Window(window);
        ASSERT_FALSE(another);
        EXPECT_EQ(another.error().message, "The window to record is not there any more: choose another one.");
    }
}

// A program that draws its own shadow says how wide it is; the picture ends where the window does.
TEST_F(X11WindowStreamTest, LeavesOutTheShadowAProgramDrawsItself) {
    const xcb_window_t window = painter_->show(XPainter::Kind::unmanaged, {100, 80, 300, 200}, 0x222222);
    painter_->fill(window, {20, 10, 250, 160}, kGreen);
    const xcb_atom_t shadow = test::atomOf(connection_.get(), "_GTK_FRAME_EXTENTS");
    const std::uint32_t extents[] = {20, 30, 10, 30};
    xcb_change_property(connection_.get(), XCB_PROP_MODE_REPLACE, window, shadow, XCB_ATOM_CARDINAL, 32, 4,
                        extents);
    test::synchronise(connection_.get());
    const auto stream = open(window);
    EXPECT_EQ(stream->frame(), (Rect{120, 90, 250, 160}));
    FrameWatch watch(*stream);
    EXPECT_TRUE(watch.shows(0, 0, kGreen));
    EXPECT_EQ(watch.pixel(249, 159), kGreen);
    painter_->fill(window, {260, 165, 10, 5}, kBlue);
    EXPECT_TRUE(watch.shows(245, 158, kBlue));
    EXPECT_EQ(watch.wrong(), "");
}

} // namespace
} // namespace glintro
