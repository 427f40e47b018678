#include <csignal>
#include <regex>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/media/decode/MovieReader.h"
#include "core/reel/Project.h"
#include "core/reel/TakeJournal.h"
#include "tests/app/shell/Program.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/XWindow.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using test::waitUntil;

// A window that changes between black and white ten times a second.
class FlashingWindow {
  public:
    FlashingWindow(const std::string& display, const std::string& title)
        : window_(display, 300, 200, 100, 100, true) {
        window_.setTitle(title);
        window_.show();
        flashing_ = std::jthread([this](const std::stop_token& stop) {
            for (std::uint32_t colour = 0; !stop.stop_requested(); colour ^= 0xFFFFFF) {
                window_.paint(colour);
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            }
        });
    }
    std::uint32_t id() const { return window_.id(); }

  private:
    test::XWindow window_;
    std::jthread flashing_;
};

// The program in an X session of 800 × 600 with one window, and without sound.
class RecordProgram : public testing::Test {
  protected:
    void SetUp() override {
        if (const auto why = test::XSession::whyNoXvfb()) GTEST_SKIP() << *why;
        session_ = test::XSession::xvfb(800, 600, test::XSession::WindowManager::none);
        window_ = std::make_unique<FlashingWindow>(session_->display(), "Flashing");
    }
    ProgramCall call(std::vector<std::string> arguments) const {
        return {.arguments = std::move(arguments),
                .environment = {{"DISPLAY", session_->display()},
                                {"WAYLAND_DISPLAY", ""},
                                {"PULSE_SERVER", "unix:/nowhere"},
                                {"GLINTRO_LIBRARY_DIR", library_.string()}},
                .folder = work_.path()};
    }
    ProgramResult run(std::vector<std::string> arguments) const {
        return runProgram(call(std::move(arguments)));
    }
    // Waits until the take in a folder is under way: pictures are on the disk, and the pointer is followed.
    static bool isRecording(const fs::path& reel) {
        return waitUntil([&] {
            const auto record = TakeJournal::read(reel);
            return record && record->firstFrameHost > 0 && !record->samples.empty();
        });
    }
    bool isUntouched() const { return fs::is_empty(work_.path()) && !fs::exists(library_); }

    TemporaryFolder work_;
    TemporaryFolder elsewhere_;
    fs::path library_ = elsewhere_ / "library";
    std::unique_ptr<test::XSession> session_;
    std::unique_ptr<FlashingWindow> window_;
};

TEST_F(RecordProgram, RecordsWhatHappensOnTheScreen) {
    Program program(call({"record", "--seconds", "3", "--fps", "30", "-o", "new/reel", "--json"}));
    const fs::path folder = work_ / "new/reel";
    ASSERT_TRUE(isRecording(folder));
    session_->injector().move(400, 150);
    session_->injector().click(1);
    const ProgramResult result = program.wait();
    ASSERT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(result.error, "");
    const auto report = json::parse(result.out);
    EXPECT_EQ(report["folder"], folder.string());
    EXPECT_NEAR(report["duration"].get<double>(), 3, 0.5);
    EXPECT_GT(report["frames"], 15);
    EXPECT_EQ(report["clicks"], 1);
    EXPECT_FALSE(report["hasAudio"].get<bool>() || report["hasCamera"].get<bool>());

    const auto inspected = json::parse(run({"inspect", "new/reel", "--json"}).out);
    EXPECT_EQ(inspected["status"], "ok");
    EXPECT_EQ(inspected["info"]["width"], 800);
    EXPECT_EQ(inspected["info"]["settings"]["zooms"].size(), 1U);
    const auto clicks = Project::load(folder)->loadEvents().clicks;
    ASSERT_EQ(clicks.size(), 1U);
    EXPECT_EQ(clicks.front().position(), (Point{0.5, 0.25}));

    // Inside the window the picture changes from black to white and back; beside it never.
    const auto movie = MovieReader::open(folder / "raw.mov");
    ASSERT_TRUE(movie) << movie.error().message;
    int lightest = 0;
    int darkest = 255;
    for (double time = 0.5; time < 2; time += 0.05) {
        const auto frame = (*movie)->frameAt(time);
        ASSERT_TRUE(frame);
        const auto& luma = frame->picture->planes[0];
        lightest = std::max<int>(lightest, luma.row(200)[250]);
        darkest = std::min<int>(darkest, luma.row(200)[250]);
        EXPECT_LT(luma.row(500)[600], 30) << time;
    }
    EXPECT_GT(lightest, 220);
    EXPECT_LT(darkest, 30);
}

TEST_F(RecordProgram, EndsATakeProperlyWhenItIsToldTo) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const std::string name = "reel-" + std::to_string(signal);
        Program program(call({"record", "-o", name}));
        ASSERT_TRUE(isRecording(work_ / name));
        program.send(signal);
        const ProgramResult result = program.wait();
        EXPECT_EQ(result.status, 0) << result.error;
        EXPECT_TRUE(result.out.starts_with((work_ / name).string() + "\n  800 × 600, ")) << result.out;
        EXPECT_TRUE(Project::load(work_ / name));
        EXPECT_FALSE(fs::exists(TakeJournal::fileIn(work_ / name)));
    }
}

TEST_F(RecordProgram, RecordsOneWindowIntoTheLibrary) {
    const ProgramResult result =
        run({"record", "--window", std::to_string(window_->id()), "--seconds", "0.5", "--mic", "--choose"});
    ASSERT_EQ(result.status, 0) << result.error;
    EXPECT_TRUE(result.error.starts_with("glintro: This desktop asks nothing")) << result.error;
    EXPECT_NE(result.error.find("\nglintro: No sound server answers"), std::string::npos) << result.error;
    const std::regex layout(library_.string() + R"(/\d{4}-\d\d-\d\d/\d\d\.\d\d\.\d\d\n  300 × 200, (.|\n)*)");
    EXPECT_TRUE(std::regex_match(result.out, layout)) << result.out;
    EXPECT_TRUE(Project::load(result.out.substr(0, result.out.find('\n'))));
}

TEST_F(RecordProgram, KeepsWhatItHasWhenTheWindowGoes) {
    Program program(call({"record", "--window", std::to_string(window_->id()), "-o", "reel"}));
    ASSERT_TRUE(isRecording(work_ / "reel"));
    window_.reset();
    const ProgramResult result = program.wait();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(std::ranges::count(result.error, '\n'), 1) << result.error;
    EXPECT_FALSE(result.out.empty());
    EXPECT_TRUE(Project::load(work_ / "reel"));
}

TEST_F(RecordProgram, KeepsATakeAlsoWhenTheServerAnswersNobody) {
    Program program(call({"record", "-o", "reel"}));
    ASSERT_TRUE(isRecording(work_ / "reel"));
    const auto selfish = test::connectTo(session_->display());
    xcb_grab_server(selfish.get());
    test::synchronise(selfish.get());
    program.send(SIGINT);
    const ProgramResult result = program.wait();
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_TRUE(Project::load(work_ / "reel"));
}

// Nobody is told for long that something is recorded that is not.
TEST_F(RecordProgram, EndsATakeWhoseFolderIsGone) {
    Program program(call({"record", "-o", "reel"}));
    ASSERT_TRUE(isRecording(work_ / "reel"));
    fs::rename(work_ / "reel", work_ / "moved");
    const ProgramResult result = program.wait();
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.error.find("was moved or deleted"), std::string::npos) << result.error;
    EXPECT_NE(result.error.find("is no longer in"), std::string::npos) << result.error;
    EXPECT_EQ(run({"recover", "moved"}).status, 0);
    EXPECT_TRUE(Project::load(work_ / "moved"));
}

TEST_F(RecordProgram, LeavesNothingBehindWhenItCannotRecord) {
    struct Row {
        std::vector<std::string> arguments;
        int status;
        const char* complaint;
    };
    const Row rows[] = {
        {{"--display", "9"}, 1, "There is no display “9”."},
        {{"--window", "nowhere"}, 1, "There is no window “nowhere”"},
        {{"--area", "0,0,1,100"}, 1, "too small"},
        {{"--area", "1,2"}, 2, "--area expects four numbers"},
        {{"--window", "Flashing", "--display", "1"}, 2, "--window does not go with --display"},
        {{"-o", "/dev/null"}, 1, "is a file, not a folder"},
        {{"-o", "/proc"}, 1, "isn’t empty"},
    };
    for (const Row& row : rows) {
        std::vector<std::string> arguments{"record", "--seconds", "1"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        const ProgramResult result = run(arguments);
        EXPECT_EQ(result.status, row.status) << result.error;
        EXPECT_NE(result.error.find(row.complaint), std::string::npos) << result.error;
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(isUntouched()) << row.complaint;
    }
    ProgramCall blind = call({"record", "-o", "reel"});
    blind.environment["DISPLAY"] = "";
    const ProgramResult result = runProgram(blind);
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.error.find("DISPLAY"), std::string::npos) << result.error;
    EXPECT_TRUE(isUntouched());
}

TEST_F(RecordProgram, ListsWhatThereIsAndWhyTheRestIsNot) {
    const auto sources = json::parse(run({"sources", "--json"}).out);
    ASSERT_EQ(sources["displays"].size(), 1U);
    EXPECT_EQ(sources["displays"][0]["frame"], json::parse(R"({"x":0,"y":0,"width":800,"height":600})"));
    EXPECT_FALSE(sources["chosenInDialog"].get<bool>());
    EXPECT_TRUE(sources["unknown"].contains("microphones"));
    EXPECT_FALSE(sources["unknown"].contains("displays"));

    ProgramCall blind = call({"sources"});
    blind.environment["DISPLAY"] = "";
    const ProgramResult result = runProgram(blind);
    EXPECT_EQ(result.status, 0) << result.error;
    for (const char* heading : {"Displays\n", "Windows\n", "Microphones\n", "Cameras\n"})
        EXPECT_NE(result.out.find(heading), std::string::npos) << result.out;
}

} // namespace
} // namespace glintro
