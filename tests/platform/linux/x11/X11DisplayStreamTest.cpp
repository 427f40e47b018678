#include <random>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/linux/x11/X11Content.h"
#include "platform/linux/x11/X11Streams.h"
#include "platform/linux/x11/X11WindowShape.h"
#include "tests/support/FrameWatch.h"
#include "tests/support/XPainter.h"
#include "tests/support/XSession.h"
#include "tests/support/XWindow.h"

namespace glintro {
namespace {

using test::FrameWatch;
using test::waitUntil;
using test::XPainter;
using test::XSession;

constexpr std::uint32_t kForbidden = 0xFF00FF;
constexpr std::uint32_t kWallpaper = 0x204060;
// Many more frames than a take has, so that much happens while one is on its way.
constexpr int kHurriedRate = 1000;

// What the screen shows now, without a stream.
std::vector<std::uint8_t> screenPixels(const std::string& display, const PixelRect& part) {
    const test::XConnection connection = test::connectTo(display);
    const auto cookie =
        xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, test::rootOf(connection.get()),
                      static_cast<std::int16_t>(part.x), static_cast<std::int16_t>(part.y),
                      static_cast<std::uint16_t>(part.width), static_cast<std::uint16_t>(part.height), ~0U);
    const X11Reply<xcb_get_image_reply_t> reply(xcb_get_image_reply(connection.get(), cookie, nullptr));
    if (!reply) return {};
    const std::uint8_t* data = xcb_get_image_data(reply.get());
    return {data, data + xcb_get_image_data_length(reply.get())};
}

// A window of this very process: what a stream must not show.
class OwnWindow : public test::XWindow {
  public:
    enum class Kind { unmanaged, managed };

    OwnWindow(const std::string& display, const PixelRect& place, Kind kind = Kind::unmanaged)
        : XWindow(display, place.width, place.height, place.x, place.y, kind == Kind::unmanaged, kForbidden) {
        show();
    }
};

std::unique_ptr<ScreenStream> openFirstDisplay(std::optional<Rect> part = std::nullopt) {
    const Result<X11Connection> connection = connectToX11();
    const auto displays = x11Displays(*connection);
    auto stream = openX11Display(displays->at(0), part);
    if (!stream) throw std::runtime_error(stream.error().message);
    return std::move(*stream);
}

class X11DisplayStreamTest : public testing::Test {
  protected:
    void begin(int width, int height, XSession::WindowManager manager = XSession::WindowManager::none,
               const std::vector<std::string>& options = {}) {
        session_ = XSession::xvfb(width, height, manager, options);
        environment_.emplace(*session_);
        painter_.emplace(session_->display());
        painter_->setWallpaper(kWallpaper);
    }
    void SetUp() override {
        if (const auto why = XSession::whyNoXvfb()) GTEST_SKIP() << *why;
    }

    // Rectangles of random colours on the windows and on the root, as fast as the server takes them.
    void paintAtRandom(int count, const std::vector<xcb_window_t>& windows, PixelSize size) {
        for (int i = 0; i < count; ++i) {
            const PixelRect part{uniform(0, size.width), uniform(0, size.height), uniform(1, size.width / 2),
                                 uniform(1, 40)};
            painter_->fill(windows[uniform(0, static_cast<int>(windows.size()))], part,
                           static_cast<std::uint32_t>(uniform(0, 0xFFFFFF)) & 0xFEFFFF);
        }
    }
    int uniform(int begin, int end) { return std::uniform_int_distribution(begin, end - 1)(random_); }

    std::unique_ptr<XSession> session_;
    std::optional<XSession::Environment> environment_;
    std::optional<XPainter> painter_;
    std::mt19937 random_{7};
};

TEST_F(X11DisplayStreamTest, TellsEveryRowThatChangesAndNoPixelIsOld) {
    begin(640, 480);
    const xcb_window_t window = painter_->show(XPainter::Kind::unmanaged, {200, 100, 300, 200}, 0x112233);
    const struct {
        std::optional<Rect> part;
        PixelRect pixels;
    } rows[] = {{std::nullopt, {0, 0, 640, 480}}, {Rect{151, 33, 401, 299}, {151, 33, 401, 299}}};
    for (const auto& row : rows) {
        const auto stream = openFirstDisplay(row.part);
        EXPECT_EQ(stream->pixelSize(), (PixelSize{row.pixels.width, row.pixels.height}));
        EXPECT_EQ(stream->frame(), row.part.value_or(Rect{0, 0, 640, 480}));
        FrameWatch watch(*stream, kHurriedRate);
        paintAtRandom(1500, {0, window}, {640, 480});
        EXPECT_TRUE(watch.showsAll(screenPixels(session_->display(), row.pixels)));
        EXPECT_EQ(watch.wrong(), "");
        EXPECT_EQ(watch.whyStopped(), "");
    }
}

TEST_F(X11DisplayStreamTest, LeavesOutFramesWhileAllBuffersAreHeldAndLosesNoChange) {
    begin(320, 240);
    const auto stream = openFirstDisplay();
    FrameWatch watch(*stream, 60, 3);
    watch.hold(true);
    const std::vector<xcb_window_t> root{0};
    ASSERT_TRUE(waitUntil([&] {
        paintAtRandom(20, root, {320, 240});
        return watch.dropped() > 3;
    }));
    EXPECT_LE(watch.frames() - watch.repeats(), 3);
    watch.hold(false);
    EXPECT_TRUE(watch.showsAll(screenPixels(session_->display(), {0, 0, 320, 240})));
    EXPECT_EQ(watch.wrong(), "");
}

// Servers without shared memory send the pixels; a server that tells no processes leaves us the property.
TEST_F(X11DisplayStreamTest, DoesWithoutTheExtensionsThatMakeItFast) {
    begin(640, 480, XSession::WindowManager::none, {"-extension", "MIT-SHM", "-extension", "X-Resource"});
    const auto stream = openFirstDisplay();
    FrameWatch watch(*stream);
    paintAtRandom(200, {0}, {640, 480});
    EXPECT_TRUE(watch.showsAll(screenPixels(session_->display(), {0, 0, 640, 480})));
    OwnWindow own(session_->display(), {700, 500, 200, 100});
    own.setWords("_NET_WM_PID", "CARDINAL", {static_cast<std::uint32_t>(::getpid())});
    own.hide();
    own.show();
    watch.forbid(kForbidden);
    own.move(100, 100);
    painter_->fill(0, {600, 400, 20, 20}, 0x00AA00);
    EXPECT_TRUE(watch.shows(610, 410, 0x00AA00));
    EXPECT_EQ(watch.wrong(), "");
}

// The window manager's frame around a window of ours goes with it; a panel that holds one of our icons stays.
TEST_F(X11DisplayStreamTest, LeavesOutFramesAroundOurWindowsButNotPanelsThatHoldOurIcons) {
    begin(640, 480, XSession::WindowManager::openbox);
    const xcb_window_t panel = painter_->show(XPainter::Kind::unmanaged, {0, 440, 640, 40}, 0x556677);
    OwnWindow icon(session_->display(), {0, 0, 20, 20});
    icon.hide();
    icon.setWords("_XEMBED_INFO", "CARDINAL", {0, 1});
    xcb_reparent_window(icon.connection(), icon.id(), panel, 10, 10);
    icon.show();
    const auto stream = openFirstDisplay();
    FrameWatch watch(*stream);
    EXPECT_TRUE(watch.shows(300, 460, 0x556677));
    EXPECT_TRUE(watch.shows(20, 460, kForbidden)) << "the icon is part of the panel";

    painter_->raise(panel);
    OwnWindow own(session_->display(), {200, 100, 200, 100}, OwnWindow::Kind::managed);
    const Result<X11Connection> connection = connectToX11();
    const auto isFramed = [&] {
        const auto shape = x11WindowShape(*connection, own.id());
        return shape && shape->isViewable && shape->frame != own.id();
    };
    ASSERT_TRUE(waitUntil(isFramed));
    const PixelRect frame = x11WindowShape(*connection, own.id())->outer;
    painter_->fill(0, {600, 10, 5, 5}, 0x00AA00);
    ASSERT_TRUE(watch.shows(602, 12, 0x00AA00));
    EXPECT_EQ(watch.pixel(frame.x + frame.width / 2, frame.y + 3), kWallpaper) << "its title bar";
    EXPECT_EQ(watch.pixel(frame.x + 20, frame.bottom() - 20), kWallpaper) << "itself";
    EXPECT_EQ(watch.pixel(20, 460), kForbidden) << "the icon in the panel";
    EXPECT_EQ(watch.wrong(), "");
}

TEST_F(X11DisplayStreamTest, SaysThatAScreenOfFewColoursCannotBeRecorded) {
    begin(640, 480, XSession::WindowManager::none, {"-screen", "0", "640x480x16"});
    const ShareableDisplay display = x11Displays(*connectToX11())->at(0);
    const auto shallow = openX11Display(display, std::nullopt);
    ASSERT_FALSE(shallow);
    EXPECT_EQ(shallow.error().message,
              "This screen has colours of 16 bits, which cannot be recorded: set it to 24 bits.");
}

struct Composing {
    const char* name;
    const char* manager; // a compositing manager; empty: none
};

class X11OwnWindowTest : public X11DisplayStreamTest, public testing::WithParamInterface<Composing> {
  protected:
    void SetUp() override {
        X11DisplayStreamTest::SetUp();
        if (IsSkipped()) return;
        begin(640, 480, XSession::WindowManager::openbox);
        if (*GetParam().manager == '\0') return;
        manager_ = session_->run({"picom", "--config", "/dev/null", "--backend", "xrender"});
        const Result<X11Connection> connection = connectToX11();
        const xcb_atom_t selection = test::atomOf(connection->get(), "_NET_WM_CM_S0");
        const auto hasOwner = [&] {
            const X11Reply<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
                connection->get(), xcb_get_selection_owner(connection->get(), selection), nullptr));
            return owner && owner->owner != XCB_WINDOW_NONE;
        };
        if (!waitUntil(hasOwner)) GTEST_SKIP() << "picom, which composes the screen here, does not start.";
    }

    std::unique_ptr<test::ChildProcess> manager_;
};

// Whatever lies under, above and beside a window of ours is to be seen where the window would be, and keeps
// being followed there; the window itself in no frame, however it comes and goes.
TEST_P(X11OwnWindowTest, IsInNoFrameWhileWhatItCoversIs) {
    using Kind = XPainter::Kind;
    const xcb_window_t below = painter_->show(Kind::unmanaged, {100, 100, 300, 200}, 0x00AA00);
    const auto stream = openFirstDisplay();
    FrameWatch watch(*stream, kHurriedRate, 6, kForbidden);
    ASSERT_TRUE(watch.shows(150, 150, 0x00AA00));

    OwnWindow own(session_->display(), {50, 80, 200, 150});
    EXPECT_TRUE(watch.shows(150, 150, 0x00AA00));
    EXPECT_TRUE(waitUntil([&] {
        painter_->fill(below, {20, 20, 60, 60}, 0x0000BB);
        return watch.pixel(130, 130) == 0x0000BB;
    })) << "drawn under ours";
    painter_->fill(below, {200, 100, 60, 60}, 0x00BBBB);
    EXPECT_TRUE(watch.shows(330, 230, 0x00BBBB)) << "drawn beside ours";
    const xcb_window_t above = painter_->show(Kind::unmanaged, {180, 180, 100, 100}, 0xDDDD00);
    EXPECT_TRUE(watch.shows(200, 200, 0xDDDD00)) << "shown above ours";
    painter_->place(above, {60, 90, 80, 40});
    EXPECT_TRUE(watch.shows(70, 100, 0xDDDD00)) << "moved above ours";
    EXPECT_TRUE(watch.shows(200, 200, 0x00AA00)) << "where it was";
    painter_->close(above);
    EXPECT_TRUE(watch.shows(120, 110, 0x00AA00)) << "closed above ours";
    painter_->place(below, {120, 100, 350, 220});
    EXPECT_TRUE(watch.shows(240, 200, 0x00AA00)) << "resized under ours";

    for (int step = 0; step < 40; ++step) own.move(50 + step * 9, 80 + step * 5);
    EXPECT_TRUE(watch.shows(450, 300, 0x00AA00)) << "ours moved there";
    {
        const std::jthread flashing([&] {
            for (int i = 0; i < 200; ++i) {
                own.hide();
                own.show();
            }
        });
        paintAtRandom(400, {0, below}, {640, 480});
    }
    own.hide();
    painter_->fill(below, {300, 200, 40, 10}, 0x123456);
    EXPECT_TRUE(watch.shows(425, 305, 0x123456)) << "ours is gone";
    EXPECT_EQ(watch.wrong(), "");
    EXPECT_TRUE(watch.stopped().empty());
}

TEST_P(X11OwnWindowTest, LetsShapedAndTransparentWindowsBeSeenAsTheyAre) {
    using Kind = XPainter::Kind;
    painter_->show(Kind::unmanaged, {100, 100, 400, 300}, 0x00AA00);
    painter_->show(Kind::shaped, {120, 120, 80, 80}, 0xCC0000);
    painter_->show(Kind::transparent, {250, 120, 80, 80}, 0x80400000);
    const auto stream = openFirstDisplay();
    FrameWatch watch(*stream);
    ASSERT_TRUE(watch.shows(160, 160, 0xCC0000));
    const std::optional<std::uint32_t> blended = watch.pixel(290, 160);
    OwnWindow own(session_->display(), {90, 90, 300, 200});
    watch.forbid(kForbidden);
    EXPECT_TRUE(watch.shows(160, 160, 0xCC0000)) << "the middle of the cross";
    EXPECT_TRUE(watch.shows(125, 125, 0x00AA00)) << "its corner";
    EXPECT_TRUE(watch.shows(290, 160, *blended)) << "the transparent one";
    EXPECT_EQ(watch.wrong(), "");
}

// A compositing manager that shows a desktop of its own tells nobody what it is.
TEST_P(X11OwnWindowTest, GivesWayToTheDesktopAroundItAndNeverToBlack) {
    const auto stream = openFirstDisplay();
    FrameWatch watch(*stream);
    ASSERT_TRUE(waitUntil([&] { return watch.pixel(300, 200).value_or(0) != 0; }));
    const int before = watch.frames() - watch.repeats();
    OwnWindow own(session_->display(), {200, 150, 200, 100});
    ASSERT_TRUE(waitUntil([&] { return watch.frames() - watch.repeats() > before; }));
    watch.forbid(kForbidden);
    painter_->show(XPainter::Kind::unmanaged, {100, 130, 80, 40}, 0x00AA00);
    ASSERT_TRUE(watch.shows(120, 150, 0x00AA00)) << "beside ours";
    // The manager may take its time to show its desktop.
    const auto isDesktop = [&](int x, int y) {
        const std::uint32_t colour = watch.pixel(x, y).value_or(0);
        return colour != 0 && colour == watch.pixel(600, 460);
    };
    EXPECT_TRUE(waitUntil([&] { return isDesktop(300, 200) && isDesktop(210, 160) && isDesktop(390, 240); }))
        << std::hex << watch.pixel(300, 200).value_or(0) << ' ' << watch.pixel(600, 460).value_or(0);
    const OwnWindow all(session_->display(), {0, 0, 640, 480});
    painter_->fill(0, {0, 0, 10, 10}, 0x0000BB);
    EXPECT_TRUE(waitUntil([&] { return watch.pixel(300, 200).value_or(0) != 0; }));
    EXPECT_EQ(watch.wrong(), "");
}

INSTANTIATE_TEST_SUITE_P(Screens, X11OwnWindowTest,
                         testing::Values(Composing{"Plain", ""}, Composing{"Composed", "picom"}),
                         [](const auto& row) { return row.param.name; });

// Without a compositing manager a composed picture is the root's own to the pixel, and the wallpaper is.
TEST_F(X11DisplayStreamTest, ComposesJustWhatTheScreenWouldShowWithoutOurWindow) {
    begin(640, 480, XSession::WindowManager::openbox);
    session_->output({"xsetroot", "-mod", "16", "7", "-fg", "#335577", "-bg", "#ddbb99"});
    const xcb_window_t window = painter_->show(XPainter::Kind::managed, {80, 60, 220, 160}, 0x998877);
    ASSERT_TRUE(waitUntil([&] { return x11Windows(*connectToX11())->size() == 1; }));
    const auto stream = openFirstDisplay();
    FrameWatch watch(*stream);
    ASSERT_TRUE(waitUntil([&] { return watch.repeats() > 0; })) << "the window manager is done drawing";
    const auto withoutOurs = screenPixels(session_->display(), {0, 0, 640, 480});
    watch.forbid(kForbidden);
    const int before = watch.frames() - watch.repeats();
    OwnWindow own(session_->display(), {31, 17, 400, 300});
    ASSERT_TRUE(waitUntil([&] { return watch.frames() - watch.repeats() > before; }));
    EXPECT_TRUE(watch.showsAll(withoutOurs));
    const auto late = openFirstDisplay();
    FrameWatch lateWatch(*late, 60, 6, kForbidden);
    EXPECT_TRUE(lateWatch.showsAll(withoutOurs));
    EXPECT_EQ(lateWatch.wrong(), "");
    paintAtRandom(300, {window}, {220, 160});
    own.hide();
    EXPECT_TRUE(watch.showsAll(screenPixels(session_->display(), {0, 0, 640, 480})));
    EXPECT_EQ(watch.wrong(), "");
}

TEST_F(X11DisplayStreamTest, EndsWithASentenceWhenTheServerDies) {
    begin(320, 240);
    const auto stream = openFirstDisplay();
    FrameWatch watch(*stream);
    ASSERT_TRUE(watch.shows(10, 10, kWallpaper));
    session_->killServer();
    ASSERT_TRUE(waitUntil([&] { return !watch.stopped().empty(); }));
    EXPECT_EQ(watch.stopped().front().message, "The X server no longer answers, so the recording ended.");
}

} // namespace
} // namespace glintro
