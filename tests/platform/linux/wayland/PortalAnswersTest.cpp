#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <spa/param/video/raw.h>

#include "platform/linux/wayland/PortalHotKey.h"
#include "platform/linux/wayland/PortalPointer.h"
#include "platform/linux/wayland/ScreenCast.h"
#include "platform/linux/wayland/WaylandDesktop.h"
#include "tests/platform/linux/wayland/FakePortal.h"
#include "tests/platform/linux/wayland/ScreenNode.h"
#include "tests/support/SharedLog.h"
#include "tests/support/SoundSession.h"

namespace glintro {
namespace {

using test::FakePortal;
using test::PrivateBus;
using test::ScopedEnvironment;
using test::ScreenNode;
using test::SoundServer;
using test::SoundSession;
using test::waitUntil;

using Kind = SharedSource::Kind;

const std::map<std::string, std::uint32_t> kScreenCast = {{"version", 4}, {"AvailableCursorModes", 7}};

// What cannot be had from a real desktop without a user at it: refusals, and portals that lack something.
class PortalAnswers : public ::testing::Test {
  protected:
    void remember(const std::string& token) const {
        std::filesystem::create_directories(tokenFile_.parent_path());
        std::ofstream(tokenFile_) << token;
    }
    std::string remembered() const {
        std::string token;
        std::ifstream(tokenFile_) >> token;
        return token;
    }
    // What the user is told when a recording is to begin.
    static std::string complaint() {
        const auto opened = createPortalScreenCapture()->open(DisplayFilter{1}, {});
        return opened ? "" : opened.error().message;
    }

    // The tokens that the portal was given, one for each time it was asked; "" for none.
    static std::vector<std::string> tokensTried(FakePortal& portal) {
        std::vector<std::string> tried;
        for (const auto& call : portal.calls("SelectSources"))
            tried.push_back(call.options.contains("restore_token") ? call.options.at("restore_token") : "");
        return tried;
    }

    TemporaryFolder state_;
    ScopedEnvironment home_{"XDG_STATE_HOME", state_.path().string()};
    std::filesystem::path tokenFile_ = state_ / "glintro/screen.token";
    PrivateBus bus_;
};

TEST_F(PortalAnswers, SayWhatIsMissingAndWhatToDo) {
    {
        const ScopedEnvironment noBus("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (state_ / "none").string());
        EXPECT_NE(complaint().find("start Glintro from within your desktop session"), std::string::npos);
        EXPECT_FALSE(createPortalScreenCapture()->hasAccess());
    }
    EXPECT_NE(complaint().find("install xdg-desktop-portal"), std::string::npos);
    const FakePortal withoutScreenCast({});
    EXPECT_NE(complaint().find("install the portal back end made for your desktop"), std::string::npos);
    EXPECT_FALSE(createPortalScreenCapture()->content());
}

TEST_F(PortalAnswers, RefusalsEndTheQuestionWithASentence) {
    const struct {
        const char* method;
        std::uint32_t verdict;
        const char* sentence;
    } rows[] = {{"Start", 1, "Nothing was shared"},
                {"SelectSources", 1, "Nothing was shared"},
                {"Start", 2, "The desktop could not ask"},
                {"CreateSession", 2, "The desktop could not ask"}};
    for (const auto& row : rows) {
        FakePortal portal({kScreenCast, {{row.method, row.verdict}}});
        EXPECT_TRUE(complaint().starts_with(row.sentence)) << row.method << row.verdict << complaint();
    }
}

TEST_F(PortalAnswers, ATokenThatFailsIsTriedOnceWithoutButARefusalStands) {
    const std::pair<std::uint32_t, std::vector<std::string>> rows[] = {{2, {"old", ""}}, {1, {"old"}}};
    for (const auto& [verdict, tokens] : rows) {
        remember("old");
        FakePortal portal({kScreenCast, {{"Start", verdict}}});
        EXPECT_NE(complaint(), "");
        EXPECT_EQ(tokensTried(portal), tokens) << verdict;
        EXPECT_EQ(remembered(), "old");
    }
}

TEST_F(PortalAnswers, AreAskedForAgainUntilTheUserHasChosen) {
    remember("old");
    const auto capture = createPortalScreenCapture();
    capture->forgetChoice();
    // Who closes the dialog has not agreed to the old choice. A PipeWire that is missing comes after the
    // choice.
    const ScopedEnvironment noPipeWire("PIPEWIRE_REMOTE", "none");
    const std::pair<std::uint32_t, bool> rows[] = {{1, false}, {0, false}, {0, true}};
    for (const auto& [verdict, usesToken] : rows) {
        FakePortal portal({kScreenCast, {{"Start", verdict}}});
        EXPECT_FALSE(capture->open(DisplayFilter{1}, {}));
        const auto calls = portal.calls("SelectSources");
        ASSERT_EQ(calls.size(), 1U);
        EXPECT_EQ(calls.front().options.contains("restore_token"), usesToken);
        EXPECT_EQ(remembered(), verdict == 0 ? "next" : "old");
    }
}

// Sharing the wrong window is worse than asking once too often.
TEST_F(PortalAnswers, AreRestoredOnlyForTheSameKindAndNameAndOnlyTheSameSource) {
    const SharedSource screen{Kind::screen, "DP-1", Point{0, 0}, Size{1920, 1080}};
    const SharedSource window{Kind::window, "", {}, Size{800, 600}};
    const SharedSource nameless{Kind::screen, "", Point{0, 0}, Size{1920, 1080}};
    const CastRequest aScreen{}, aWindow{Kind::window, "Terminal"};
    const struct {
        const char* what;
        CastRequest first;
        SharedSource chosen;
        CastRequest then;
        SharedSource restored;
        bool asks;
    } rows[] = {{"the same", aScreen, screen, aScreen, screen, false},
                {"a screen with a new resolution",
                 aScreen,
                 screen,
                 aScreen,
                 {Kind::screen, "DP-1", {}, Size{1280, 720}},
                 false},
                {"a window that was resized",
                 aWindow,
                 window,
                 aWindow,
                 {Kind::window, "", {}, Size{900, 500}},
                 false},
                {"another kind", aScreen, screen, aWindow, window, true},
                {"another name", aWindow, window, {Kind::window, "Browser"}, window, true},
                {"no name", aWindow, window, {Kind::window}, window, true},
                {"told to ask", aScreen, screen, {Kind::screen, "", false}, screen, true},
                {"another screen",
                 aScreen,
                 screen,
                 aScreen,
                 {Kind::screen, "DP-2", Point{0, 0}, Size{1920, 1080}},
                 true},
                {"a screen elsewhere",
                 aScreen,
                 nameless,
                 aScreen,
                 {Kind::screen, "", Point{1920, 0}, Size{1920, 1080}},
                 true},
                {"a window for a screen", aScreen, nameless, aScreen, window, true}};
    for (const auto& row : rows) {
        std::filesystem::remove_all(tokenFile_.parent_path());
        {
            FakePortal portal({.properties = kScreenCast, .verdicts = {}, .shared = row.chosen});
            const auto cast = ScreenCast::open(row.first, {});
            ASSERT_TRUE(cast) << row.what;
            EXPECT_FALSE((*cast)->isRestored());
        }
        FakePortal portal(
            {.properties = kScreenCast, .verdicts = {}, .shared = row.chosen, .restored = row.restored});
        const auto cast = ScreenCast::open(row.then, {});
        ASSERT_TRUE(cast) << row.what;
        EXPECT_EQ((*cast)->isRestored(), !row.asks) << row.what;
        EXPECT_EQ(tokensTried(portal).back(), row.asks ? "" : "next") << row.what;
        EXPECT_EQ((*cast)->source(), row.asks ? row.chosen : row.restored) << row.what;
    }
}

TEST_F(PortalAnswers, AreRememberedForTheirOwnerOnly) {
    using std::filesystem::perms;
    remember("old"); // by a version that left the file open to others
    std::filesystem::permissions(tokenFile_, perms::all);
    FakePortal portal({kScreenCast, {}});
    ASSERT_TRUE(ScreenCast::open({}, {}));
    ASSERT_TRUE(ScreenCast::open({.kind = Kind::window, .name = "a/b"}, {}));
    int files = 0;
    for (const auto& file : std::filesystem::directory_iterator(tokenFile_.parent_path())) {
        EXPECT_EQ(file.status().permissions(), perms::owner_read | perms::owner_write) << file.path();
        ++files;
    }
    EXPECT_EQ(files, 2);
    EXPECT_EQ(std::filesystem::status(tokenFile_.parent_path()).permissions(), perms::owner_all);
}

TEST_F(PortalAnswers, ThatAreLongInComingDoNotHoldUpAWindow) {
    FakePortal portal({.properties = {}, .verdicts = {}, .isHung = true});
    EXPECT_TRUE(createPortalScreenCapture()->hasAccess()) << "nobody has said that it cannot be done";
}

TEST_F(PortalAnswers, AskForTheBestPointerThatIsOffered) {
    using Mode = ScreenCast::PointerMode;
    const std::tuple<std::uint32_t, const char*, Mode> rows[] = {
        {7, "4", Mode::metadata}, {3, "2", Mode::embedded}, {1, "1", Mode::hidden}};
    for (const auto& [offered, asked, mode] : rows) {
        FakePortal portal({{{"version", 4}, {"AvailableCursorModes", offered}}, {}});
        const auto cast = ScreenCast::open({.kind = Kind::window}, {});
        ASSERT_TRUE(cast) << cast.error().message;
        EXPECT_EQ((*cast)->pointerMode(), mode);
        const auto options = portal.calls("SelectSources").at(0).options;
        EXPECT_EQ(options.at("cursor_mode"), asked);
        EXPECT_EQ(options.at("types"), "2");
        EXPECT_EQ(options.at("persist_mode"), "2");
        const auto why = PortalPointer((*cast)->pointerMode()).whyNoPresses().value_or("");
        EXPECT_EQ(why.find("zooms cannot follow") != std::string::npos, mode != Mode::metadata) << why;
    }
}

TEST_F(PortalAnswers, TellWhereTheScreenIsAndWhenTheDesktopEndsTheSession) {
    FakePortal portal({kScreenCast, {}});
    {
        auto cast = ScreenCast::open({}, {});
        ASSERT_TRUE(cast) << cast.error().message;
        EXPECT_EQ((*cast)->node(), 42U);
        EXPECT_EQ((*cast)->source().position, (Point{1920, 30}));
        EXPECT_EQ((*cast)->source().size, (Size{1600, 900}));
        EXPECT_EQ(remembered(), "next");
        EXPECT_TRUE((*cast)->process());
        portal.closeSession();
        EXPECT_TRUE(waitUntil([&] { return !(*cast)->process(); }));
    }
    ASSERT_TRUE(ScreenCast::open({}, {}));
    // A session that the desktop has ended is not there to be closed; the other one is.
    EXPECT_TRUE(waitUntil([&] { return portal.calls("Close").size() == 1; }));
}

TEST_F(PortalAnswers, AreAskedForAgainWhereTheAreaIsNotOnTheScreenThatIsRestored) {
    using Tokens = std::vector<std::string>;
    if (const auto missing = SoundSession::missing(SoundServer::pipeWire)) GTEST_SKIP() << *missing;
    const SoundSession session(SoundServer::pipeWire);
    const std::filesystem::path folder = session.folder().path();
    const ScopedEnvironment daemon("PIPEWIRE_RUNTIME_DIR", folder.string());
    ScreenNode node({1600, 900}, SPA_VIDEO_FORMAT_BGRx);
    const SharedSource left{Kind::screen, "", Point{0, 0}, Size{1600, 900}};
    const SharedSource right{Kind::screen, "", Point{1920, 30}, Size{1600, 900}};
    const struct {
        const char* token;
        SharedSource restored;
        Rect area; // on the desktop
        Tokens tokens;
        bool succeeds;
    } rows[] = {{"old", right, {1930, 40, 300, 200}, {"old"}, true},
                {"old", left, {3220, 730, 300, 200}, {"old", ""}, true},
                {"old", right, {10, 40, 300, 200}, {"old", ""}, false},
                {"old", right, {3300, 40, 300, 200}, {"old", ""}, false},
                {"", right, {1930, 20, 300, 200}, {""}, false},
                {"", right, {1930, 40, 0, 0}, {""}, false}};
    for (const auto& row : rows) {
        remember(row.token);
        FakePortal portal({.properties = kScreenCast,
                           .verdicts = {},
                           .shared = right,
                           .restored = row.restored,
                           .node = node.id(),
                           .pipeWire = folder / "pipewire-0"});
        auto opened = std::async(std::launch::async, [&] {
            return createPortalScreenCapture()->open(DisplayFilter{1, row.area}, {});
        });
        while (opened.wait_for(std::chrono::milliseconds(50)) != std::future_status::ready) node.trySend(1);
        const auto stream = opened.get();
        EXPECT_EQ(tokensTried(portal), row.tokens) << row.area.x;
        EXPECT_EQ(stream.has_value(), row.succeeds) << row.area.x;
        if (stream) {
            EXPECT_EQ((*stream)->frame(), row.area);
            EXPECT_EQ((*stream)->pixelSize(), (PixelSize{300, 200}));
        } else {
            EXPECT_EQ(stream.error().message,
                      "The area lies outside of the screen that is shared; choose it again.");
        }
    }
}

TEST_F(PortalAnswers, WaitForTheUserUntilTheQuestionIsTakenBackOrThePortalDies) {
    for (const bool dies : {false, true}) {
        auto portal =
            std::make_unique<FakePortal>(FakePortal::Behaviour{kScreenCast, {{"Start", FakePortal::kNever}}});
        std::stop_source cancel;
        auto opened = std::async(std::launch::async, [&] {
            return createPortalScreenCapture()->open(DisplayFilter{1}, cancel.get_token());
        });
        ASSERT_TRUE(waitUntil([&] { return portal->calls("Start").size() == 1; }));
        if (dies) portal.reset();
        if (!dies) cancel.request_stop();
        const auto result = opened.get();
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().isCancelled(), !dies);
        if (dies) {
            EXPECT_TRUE(result.error().message.starts_with("The desktop portal has ended"));
        } else { // the question and the session it belonged to
            EXPECT_TRUE(waitUntil([&] { return portal->calls("Close").size() == 2; }));
        }
    }
}

TEST_F(PortalAnswers, GiveAHotKeyWhereTheDesktopHasOne) {
    const KeyCombination keys{'r', KeyCombination::alt | KeyCombination::super};
    EXPECT_EQ(shortcutTrigger(keys), "ALT+LOGO+r");
    EXPECT_EQ(shortcutTrigger({0xFFC6, KeyCombination::control | KeyCombination::shift}), "CTRL+SHIFT+F9");
    auto source = createPortalHotKeySource();
    {
        const FakePortal without({});
        const auto refused = source->listen(keys, {});
        ASSERT_FALSE(refused);
        EXPECT_TRUE(refused.error().message.starts_with("This desktop gives programs no key of their own"));
    }
    FakePortal portal({{{"version", 1}}, {}});
    std::atomic<int> presses = 0;
    ASSERT_TRUE(source->listen(keys, {.pressed = [&] { ++presses; }, .bound = {}, .lost = {}}));
    ASSERT_TRUE(waitUntil([&] { return portal.calls("BindShortcuts").size() == 1; }));
    portal.activate("another");
    portal.activate("record");
    EXPECT_TRUE(waitUntil([&] { return presses == 1; }));
    source->stop();
    EXPECT_FALSE(source->listen({0xFF1B, 0}, {})) << "Escape";
}

// What a hot key's handlers were told, in order: the trigger, or "lost: " and the first words of why.
class HotKeyLog : public test::SharedLog<std::string> {
  public:
    HotKeyHandlers handlers() {
        return {.pressed = {},
                .bound = [this](const std::string& trigger) { add(trigger); },
                .lost = [this](const Failure& why) { add("lost: " + why.message.substr(0, 20)); }};
    }
};

constexpr KeyCombination kRecordKeys{'r', KeyCombination::alt | KeyCombination::super};
constexpr const char* kNoKey = "lost: The desktop has give";

TEST_F(PortalAnswers, TellTheTriggerOfAHotKeyAndItsLoss) {
    HotKeyLog log;
    const auto source = createPortalHotKeySource();
    FakePortal portal({{{"version", 1}}, {}});
    ASSERT_TRUE(source->listen(kRecordKeys, log.handlers()));
    EXPECT_TRUE(log.becomes({"Meta+Alt+R"}));
    portal.changeTrigger("Meta+Alt+R");
    portal.changeTrigger("F9");
    portal.changeTrigger("");
    portal.changeTrigger("");
    portal.changeTrigger("F9");
    portal.closeSession();
    EXPECT_TRUE(log.becomes({"Meta+Alt+R", "F9", kNoKey, "F9", "lost: The desktop has take"}))
        << ::testing::PrintToString(log.all());
}

TEST_F(PortalAnswers, TellOfAHotKeyThatIsNotGranted) {
    const auto source = createPortalHotKeySource();
    const struct {
        std::map<std::string, std::uint32_t> verdicts;
        const char* trigger;
        std::vector<std::string> told;
    } rows[] = {{{{"BindShortcuts", 1}}, "F9", {"F9"}}, // came with the session
                {{{"BindShortcuts", 1}, {"ListShortcuts", 2}}, "F9", {kNoKey}},
                {{}, "", {kNoKey}},
                {{{"CreateSession", 1}}, "F9", {kNoKey}}};
    for (const auto& row : rows) {
        HotKeyLog log;
        FakePortal portal({.properties = {{"version", 1}}, .verdicts = row.verdicts, .trigger = row.trigger});
        ASSERT_TRUE(source->listen(kRecordKeys, log.handlers()));
        EXPECT_TRUE(log.becomes(row.told)) << ::testing::PrintToString(log.all());
        source->stop();
        EXPECT_EQ(log.all(), row.told) << "a stop is no loss";
    }
    HotKeyLog log;
    auto portal = std::make_unique<FakePortal>(FakePortal::Behaviour{{{"version", 1}}, {}});
    ASSERT_TRUE(source->listen(kRecordKeys, log.handlers()));
    ASSERT_TRUE(log.becomes({"Meta+Alt+R"}));
    portal.reset();
    EXPECT_TRUE(log.becomes({"Meta+Alt+R", "lost: The desktop portal h"}));
}

} // namespace
} // namespace glintro
