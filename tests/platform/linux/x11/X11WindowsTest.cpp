#include <algorithm>
#include <memory>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include "platform/linux/x11/X11Content.h"
#include "platform/linux/x11/X11Text.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/XSession.h"
#include "tests/support/XWindow.h"

namespace glintro {
namespace {

using test::waitUntil;
using test::XSession;
using test::XWindow;

std::vector<ShareableWindow> listed() {
    const Result<X11Connection> connection = connectToX11();
    EXPECT_TRUE(connection);
    const auto windows = x11Windows(*connection);
    EXPECT_TRUE(windows);
    return windows.value_or(std::vector<ShareableWindow>{});
}

std::optional<ShareableWindow> listed(const XWindow& window) {
    const auto windows = listed();
    const auto found = std::ranges::find(windows, window.id(), &ShareableWindow::id);
    return found == windows.end() ? std::nullopt : std::optional(*found);
}

// The window manager lists a window some time after it was shown.
std::optional<ShareableWindow> waitListed(const XWindow& window) {
    EXPECT_TRUE(waitUntil([&] { return listed(window).has_value(); }));
    return listed(window);
}

// The child of the root window that holds a window, as the server sees it.
Rect topLevelOutline(xcb_connection_t* connection, xcb_window_t window) {
    for (;;) {
        const X11Reply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(connection, xcb_query_tree(connection, window), nullptr));
        if (!tree || tree->parent == tree->root) break;
        window = tree->parent;
    }
    const X11Reply<xcb_get_geometry_reply_t> outer(
        xcb_get_geometry_reply(connection, xcb_get_geometry(connection, window), nullptr));
    if (!outer) return {};
    const int border = 2 * outer->border_width;
    return {double(outer->x), double(outer->y), double(outer->width + border),
            double(outer->height + border)};
}

class X11WindowsTest : public testing::Test {
  protected:
    void SetUp() override {
        if (const auto why = XSession::whyNoXvfb()) GTEST_SKIP() << *why;
        begin(XSession::WindowManager::openbox);
    }
    void begin(XSession::WindowManager manager) {
        environment_.reset();
        session_ = XSession::xvfb(1280, 800, manager);
        environment_.emplace(*session_);
    }
    XWindow window(int width, int height, int x, int y) {
        return XWindow(session_->display(), width, height, x, y);
    }

    std::unique_ptr<XSession> session_;
    std::optional<XSession::Environment> environment_;
};

TEST_F(X11WindowsTest, CarryTheirTitleApplicationAndLayer) {
    const struct {
        const char *property, *encoding, *text, *title;
        const char* type;
        int layer;
    } rows[] = {
        {"_NET_WM_NAME", "UTF8_STRING", "Größe – 日本語 🎬", "Größe – 日本語 🎬", "NORMAL", 0},
        {"WM_NAME", "STRING",
         "Gr\xF6\xDF"
         "e",
         "Größe", "DIALOG", 0},
        {"WM_NAME", "COMPOUND_TEXT", "plain", "plain", "UTILITY", 0},
        {"_NET_WM_NAME", "UTF8_STRING", "not \xFF UTF-8", "not ÿ UTF-8", "DOCK", 1},
        {"_NET_WM_NAME", "UTF8_STRING", "", "", "DESKTOP", -1},
        {"_NET_WM_NAME", "UTF8_STRING", "splash", "splash", "SPLASH", 2},
    };
    // All stay: the server gives the id of a window that has gone to the next one, which the manager may know
    // as the old one for a while.
    std::vector<std::unique_ptr<XWindow>> all;
    for (const auto& row : rows) {
        XWindow& shown = *all.emplace_back(std::make_unique<XWindow>(session_->display()));
        shown.setText(row.property, row.encoding, row.text);
        shown.setText("WM_CLASS", "STRING", std::string("instance\0Class-of-it\0", 21));
        shown.setType(row.type);
        shown.show();
        const auto found = waitListed(shown);
        ASSERT_TRUE(found) << row.title;
        EXPECT_EQ(found->title, row.title);
        EXPECT_EQ(found->layer, row.layer) << row.type;
        EXPECT_EQ(found->application, "Class-of-it");
        EXPECT_EQ(found->process, ::getpid());
    }
}

TEST_F(X11WindowsTest, BelongToTheProcessTheServerKnowsWhateverTheySay) {
    XWindow lying = window(300, 200, 0, 0);
    lying.setWords("_NET_WM_PID", "CARDINAL", {1});
    lying.show();
    EXPECT_EQ(waitListed(lying)->process, ::getpid());
    const auto terminal = session_->run({"xterm", "-title", "foreign"});
    const auto foreign = [] {
        const auto windows = listed();
        const auto found = std::ranges::find(windows, "foreign", &ShareableWindow::title);
        return found == windows.end() ? ShareableWindow{} : *found;
    };
    ASSERT_TRUE(waitUntil([&] { return foreign().id != 0; })) << "xterm shows no window";
    EXPECT_EQ(foreign().process, terminal->id());
    EXPECT_EQ(foreign().application, "XTerm");
}

TEST_F(X11WindowsTest, HaveTheFrameTheUserSees) {
    XWindow plain = window(400, 300, 200, 150);
    plain.show();
    ASSERT_TRUE(waitListed(plain));
    EXPECT_TRUE(waitUntil([&] {
        const Rect frame = listed(plain)->frame;
        return frame.height > 300 && frame == topLevelOutline(plain.connection(), plain.id());
    })) << "with the title bar";

    XWindow shadowed = window(400, 300, 600, 150);
    shadowed.setWords("_MOTIF_WM_HINTS", "_MOTIF_WM_HINTS", {2, 0, 0, 0, 0}); // no title bar of the manager's
    shadowed.setWords("_GTK_FRAME_EXTENTS", "CARDINAL", {26, 25, 23, 29});
    shadowed.show();
    ASSERT_TRUE(waitListed(shadowed));
    EXPECT_TRUE(waitUntil([&] {
        return listed(shadowed)->frame == Rect{626, 173, 349, 248};
    })) << "without the shadow the program draws";
}

TEST_F(X11WindowsTest, AreListedFrontToBackMinimisedAndOnOtherDesktopsToo) {
    XWindow first = window(300, 200, 0, 0), second = window(300, 200, 50, 50),
            third = window(300, 200, 90, 90);
    for (XWindow* each : {&first, &second, &third}) {
        each->show();
        ASSERT_TRUE(waitListed(*each));
    }
    first.raise();
    const auto order = [&] {
        std::vector<xcb_window_t> ids;
        for (const ShareableWindow& each : listed()) ids.push_back(each.id);
        return ids;
    };
    EXPECT_TRUE(waitUntil([&] {
        return order() == std::vector<xcb_window_t>{first.id(), third.id(), second.id()};
    }));
    // The window manager moves new windows about for a moment.
    Rect before;
    int unchanged = 0;
    ASSERT_TRUE(waitUntil([&] {
        const Rect now = listed(second)->frame;
        unchanged = now == before ? unchanged + 1 : 0;
        before = now;
        return unchanged == 20;
    }));
    second.minimise();
    third.moveToDesktop(1);
    const auto isHidden = [&](const XWindow& each) {
        const X11Reply<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
            each.connection(), xcb_get_window_attributes(each.connection(), each.id()), nullptr));
        return attributes->map_state != XCB_MAP_STATE_VIEWABLE;
    };
    ASSERT_TRUE(waitUntil([&] { return isHidden(second) && isHidden(third); }));
    ASSERT_TRUE(listed(second) && listed(third));
    EXPECT_EQ(listed(second)->frame, before);
}

TEST_F(X11WindowsTest, AreTheRootsVisibleChildrenWithoutAManager) {
    begin(XSession::WindowManager::none);
    XWindow back = window(300, 200, 10, 20), front = window(200, 100, 30, 40), hidden = window(9, 9, 0, 0);
    XWindow menu(session_->display(), 50, 60, 70, 80, true);
    const std::uint32_t border = 3;
    xcb_configure_window(back.connection(), back.id(), XCB_CONFIG_WINDOW_BORDER_WIDTH, &border);
    for (XWindow* each : {&back, &front, &menu}) each->show();
    const auto windows = listed();
    ASSERT_EQ(windows.size(), 3U);
    EXPECT_EQ(windows[0].id, menu.id());
    EXPECT_EQ(windows[0].layer, 2);
    EXPECT_EQ(windows[1].frame, (Rect{30, 40, 200, 100}));
    EXPECT_EQ(windows[1].layer, 0);
    EXPECT_EQ(windows[2].frame, (Rect{10, 20, 306, 206}));
}

TEST_F(X11WindowsTest, AreFoundWhenTheManagerHasDied) {
    XWindow before = window(300, 200, 100, 100);
    before.show();
    ASSERT_TRUE(waitListed(before));
    session_->killWindowManager();
    ASSERT_TRUE(waitUntil([&] { return listed(before) && listed(before)->frame.height == 200; }))

        << "unframed";
    XWindow after = window(300, 200, 100, 100);
    after.show();
    EXPECT_TRUE(listed(before) && listed(after));
}

TEST_F(X11WindowsTest, MayBeManyAndVanishMeanwhile) {
    begin(XSession::WindowManager::none);
    std::vector<std::unique_ptr<XWindow>> windows;
    for (int i = 0; i < 150; ++i) {
        windows.push_back(std::make_unique<XWindow>(session_->display(), 300, 200, i, i));
        windows.back()->setTitle("window " + std::to_string(i));
        windows.back()->show();
    }
    ASSERT_EQ(listed().size(), 150U);
    EXPECT_EQ(listed().front().title, "window 149");
    std::jthread closing([&] {
        while (windows.size() > 1) windows.pop_back();
    });
    EXPECT_TRUE(waitUntil([] {
        const auto now = listed();
        EXPECT_TRUE(std::ranges::all_of(now, [](const auto& each) { return each.frame.width == 300; }));
        return now.size() == 1;
    }));
}

TEST(X11Text, IsAlwaysUtf8) {
    const struct {
        std::string bytes, text;
    } rows[] = {
        {"", ""},
        {"plain", "plain"},
        {std::string("cut\0here", 8), "cut"},
        {"ß€🎬", "ß€🎬"},
        {"torn \xF0\x9F\x8E", "torn "},
        {"torn \xC3", "torn "},
        {"\xE9t\xE9", "été"},
        {"\xC0\xAF", "\xC3\x80\xC2\xAF"},             // overlong
        {"\xED\xA0\x80", "\xC3\xAD\xC2\xA0\xC2\x80"}, // half of a pair
        {"\xF4\x90\x80\x80", "\xC3\xB4\xC2\x90\xC2\x80\xC2\x80"},
    };
    for (const auto& row : rows) EXPECT_EQ(textOfX11(row.bytes), row.text);
}

} // namespace
} // namespace glintro
