#include <csignal>
#include <fstream>
#include <map>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/media/decode/MovieReader.h"
#include "core/reel/Project.h"
#include "core/reel/TakeJournal.h"
#include "tests/app/shell/Program.h"
#include "tests/platform/linux/wayland/MutterRemote.h"
#include "tests/platform/linux/wayland/WaylandWindow.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/WaylandSession.h"
#include "tests/support/XSession.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using test::environmentOf;
using test::insideWaylandSession;
using test::MutterRemote;
using test::waitUntil;
using test::WaylandWindow;

constexpr PixelRect kLamp{200, 100, 300, 200}; // of the 1280 × 720 screen
constexpr const char* kNoClicks =
    "glintro: Clicks cannot be seen on this desktop; to have them recorded, add your user to the group "
    "“input” and log in again.\n";

constexpr const char* kRemembered =
    "glintro: This records the screen of 1280 × 720 points at 0, 0 that you chose the last time.\n";

// A dark screen with a lamp that goes on and off ten times a second.
class Lamp {
  public:
    Lamp() : window_({}) {
        window_.show({{{0, 0, 1280, 720}, 0x202020}});
        blinking_ = std::jthread([this](const std::stop_token& stop) {
            for (std::uint32_t colour = 0; !stop.stop_requested(); colour ^= 0xFFFFFF) {
                window_.show({{kLamp, colour}});
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            }
        });
    }

  private:
    WaylandWindow window_;
    std::jthread blinking_;
};

// The program on a desktop whose portal was once told to share the one screen.
class Desk {
  public:
    Desk() {
        const fs::path state = fs::path(environmentOf("HOME")) / ".local/state/glintro";
        fs::create_directories(state);
        std::ofstream(state / "screen.token") << environmentOf("GLINTRO_TEST_TOKEN");
    }

    ProgramCall call(std::vector<std::string> arguments) const {
        return {.arguments = std::move(arguments),
                .environment = {{"PULSE_SERVER", "unix:/nowhere"}},
                .folder = work_.path(),
                .program = environmentOf("GLINTRO_TEST_COMPANION")};
    }
    ProgramResult run(std::vector<std::string> arguments) const {
        return runProgram(call(std::move(arguments)));
    }
    // Waits until pictures of the take are on the disk.
    bool isRecording(const std::string& reel) const {
        return waitUntil([&] {
            const auto record = TakeJournal::read(work_ / reel);
            return record && record->firstFrameHost > 0;
        });
    }
    fs::path operator/(const std::string& name) const { return work_ / name; }

  private:
    TemporaryFolder work_;
};

// The darkest and the lightest that a spot of a movie is.
std::pair<int, int> rangeAt(const fs::path& reel, int x, int y) {
    const auto movie = MovieReader::open(reel / "raw.mov");
    std::pair<int, int> range{255, 0};
    for (double time = 0.5; movie && time < 2; time += 0.05) {
        const auto frame = (*movie)->frameAt(time);
        if (!frame) return {};
        const int luma = frame->picture->planes[0].row(y)[x];
        range = {std::min(range.first, luma), std::max(range.second, luma)};
    }
    return range;
}

void expectTheWholeScreen(const Desk& desk) {
    const Lamp lamp;
    MutterRemote pointer;
    Program program(desk.call({"record", "--seconds", "3", "--fps", "30", "-o", "screen", "--json"}));
    ASSERT_TRUE(desk.isRecording("screen"));
    pointer.movePointerTo(320, 180);
    pointer.movePointerTo(960, 540);
    const ProgramResult result = program.wait();
    ASSERT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(result.error, std::string(kRemembered) + kNoClicks);
    const auto report = json::parse(result.out);
    EXPECT_EQ(report["width"], 1280);
    EXPECT_EQ(report["height"], 720);
    EXPECT_NEAR(report["duration"].get<double>(), 3, 0.5);
    EXPECT_GT(report["frames"], 15);
    EXPECT_FALSE(report["pointerInPicture"].get<bool>());

    const auto [dark, light] = rangeAt(desk / "screen", 210, 110);
    EXPECT_LT(dark, 30);
    EXPECT_GT(light, 220);
    const auto [darkest, lightest] = rangeAt(desk / "screen", 190, 90);
    EXPECT_LT(lightest - darkest, 10);
    const auto cursor = Project::load(desk / "screen")->loadEvents().cursor;
    ASSERT_FALSE(cursor.empty());
    EXPECT_EQ(cursor.back().position(), (Point{0.75, 0.75}));
}

void expectCtrlCToKeepTheTake(const Desk& desk) {
    std::signal(SIGINT, SIG_DFL); // shells start what runs in the background deaf to it
    Program program(desk.call({"record", "-o", "told"}));
    ASSERT_TRUE(desk.isRecording("told"));
    program.send(SIGINT);
    const ProgramResult result = program.wait();
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_TRUE(Project::load(desk / "told"));
}

// Nobody answers the dialog here: that it is shown can be told from the take that does not begin.
void expectToBeAskedAgain(const Desk& desk, const std::vector<std::string>& wish) {
    std::signal(SIGINT, SIG_DFL); // shells start what runs in the background deaf to it
    std::vector<std::string> arguments{"record", "--seconds", "0.1", "-o", "chosen"};
    arguments.insert(arguments.end(), wish.begin(), wish.end());
    Program program(desk.call(arguments));
    EXPECT_FALSE(waitUntil([&] { return !program.isRunning(); }, std::chrono::seconds(2)));
    program.send(SIGINT);
    const ProgramResult result = program.wait();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error, "glintro: Cancelled.\n");
    EXPECT_FALSE(fs::exists(desk / "chosen"));
}

TEST(RecordOnWayland, RecordsWhatThePortalShares) {
    insideWaylandSession(
        [] {
            const Desk desk;
            const auto sources = json::parse(desk.run({"sources", "--json"}).out);
            EXPECT_TRUE(sources["chosenInDialog"].get<bool>());
            EXPECT_FALSE(sources["unknown"].contains("displays"));
            expectTheWholeScreen(desk);
            expectCtrlCToKeepTheTake(desk);
            expectToBeAskedAgain(desk, {"--choose"});
        },
        GLINTRO_PROGRAM);
}

// What `glintro sources` says where both kinds of desktop could be meant.
class Surroundings {
  public:
    explicit Surroundings(const std::string& display) : display_(display) {}

    // "x11" or "wayland", else why nothing is known.
    std::string seen(std::map<std::string, std::string> environment,
                     std::vector<std::string> options = {}) const {
        environment.insert({"DISPLAY", display_});
        options.insert(options.begin(), {"sources", "--json"});
        const ProgramResult result =
            runProgram({.arguments = options,
                        .environment = {environment.begin(), environment.end()},
                        .folder = folder_.path(),
                        .program = test::environmentOf("GLINTRO_TEST_SESSION").empty()
                                       ? GLINTRO_PROGRAM
                                       : environmentOf("GLINTRO_TEST_COMPANION")});
        if (result.status != 0) return result.error;
        const auto sources = json::parse(result.out);
        if (sources["unknown"].contains("displays")) // no portal answers outside of the test desktop
            return sources["unknown"]["displays"].get<std::string>().find("session bus") != std::string::npos
                       ? "wayland"
                       : "neither";
        return sources["chosenInDialog"].get<bool>() ? "wayland" : "x11";
    }

  private:
    std::string display_;
    TemporaryFolder folder_;
};

TEST(RecordOnWayland, IsLeftForAnXServerOfItsOwnRightOrWhenToldSo) {
    if (const auto why = test::XSession::whyNoXvfb()) GTEST_SKIP() << *why;
    const auto session = test::XSession::xvfb(800, 600, test::XSession::WindowManager::none);
    const Surroundings desk(session->display());
    const std::map<std::string, std::string> both = {{"WAYLAND_DISPLAY", "any"},
                                                     {"DBUS_SESSION_BUS_ADDRESS", "unix:path=/none"}};
    const auto with = [&](std::map<std::string, std::string> more) {
        more.insert(both.begin(), both.end());
        return more;
    };
    EXPECT_EQ(desk.seen(both), "x11");
    EXPECT_EQ(desk.seen(with({{"DISPLAY", ""}})), "wayland");
    EXPECT_EQ(desk.seen(with({{"DISPLAY", ":9999"}})), "wayland");
    EXPECT_EQ(desk.seen(with({{"WAYLAND_DISPLAY", ""}})), "x11");
    EXPECT_EQ(desk.seen(with({{"GLINTRO_ON", "wayland"}})), "wayland");
    EXPECT_EQ(desk.seen(with({{"GLINTRO_ON", "wayland"}}), {"--on", "x11"}), "x11");
    EXPECT_EQ(desk.seen(with({{"GLINTRO_ON", "beos"}})),
              "glintro: GLINTRO_ON is “beos”; set it to x11 or wayland, or unset it.\n");
}

TEST(RecordOnWayland, IsNotLeftForXwayland) {
    if (!fs::exists("/usr/bin/Xwayland")) GTEST_SKIP() << "No test without /usr/bin/Xwayland.";
    insideWaylandSession(
        [] {
            const TemporaryFolder folder;
            const std::string number = folder / "display";
            const test::ChildProcess server(
                {"sh", "-c", "exec Xwayland -rootless -noreset -displayfd 3 3>" + number});
            ASSERT_TRUE(waitUntil([&] { return fs::exists(number) && fs::file_size(number) > 1; }));
            std::string display;
            std::ifstream(number) >> display;
            const Surroundings desk(":" + display);
            EXPECT_EQ(desk.seen({}), "wayland");
            EXPECT_EQ(desk.seen({}, {"--on", "x11"}), "x11");
        },
        GLINTRO_PROGRAM);
}

class RecordOnWaylandEnds : public testing::TestWithParam<const char*> {};

TEST_P(RecordOnWaylandEnds, WithAReelAndASentence) {
    insideWaylandSession(
        [] {
            const Desk desk;
            Program program(desk.call({"record", "-o", "reel"}));
            ASSERT_TRUE(desk.isRecording("reel"));
            ::kill(std::stoi(environmentOf(GetParam())), SIGKILL);
            ASSERT_TRUE(waitUntil([&] { return !program.isRunning(); }));
            const ProgramResult result = program.wait();
            EXPECT_EQ(result.status, 1);
            EXPECT_TRUE(
                result.error.starts_with(std::string(kRemembered) + kNoClicks + "glintro: The desktop"));
            EXPECT_EQ(std::ranges::count(result.error, '\n'), 3) << result.error;
            EXPECT_TRUE(result.out.starts_with((desk / "reel").string())) << result.out;
            EXPECT_TRUE(Project::load(desk / "reel"));
        },
        GLINTRO_PROGRAM);
}

INSTANTIATE_TEST_SUITE_P(When, RecordOnWaylandEnds,
                         testing::Values("GLINTRO_TEST_MUTTER", "GLINTRO_TEST_PORTAL"),
                         [](const auto& row) { return std::string(row.param).substr(13) + "Dies"; });

} // namespace
} // namespace glintro
