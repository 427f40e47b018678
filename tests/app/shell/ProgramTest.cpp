#include <algorithm>
#include <csignal>
#include <memory>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/media/decode/MovieReader.h"
#include "core/media/decode/StillImage.h"
#include "tests/app/shell/Program.h"
#include "tests/app/shell/ReelFixtures.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

bool isOneSentence(const std::string& error) {
    return error.starts_with("glintro: ") && error.ends_with(".\n") && std::ranges::count(error, '\n') == 1;
}

class ProgramTest : public testing::Test {
  protected:
    ProgramResult run(std::vector<std::string> arguments) const {
        return runProgram({.arguments = std::move(arguments), .folder = work_});
    }
    std::vector<std::string> madeFiles() const { return test::namesIn(work_); }
    static void SetUpTestSuite() {
        shared_ = std::make_unique<TemporaryFolder>();
        tinyReel(*shared_ / "reel");
    }
    static void TearDownTestSuite() { shared_.reset(); }

    // One reel for all tests of the suite, whose movies are only read.
    static std::string reel() { return *shared_ / "reel"; }

    TemporaryFolder own_;
    fs::path work_ = own_.path();

  private:
    static inline std::unique_ptr<TemporaryFolder> shared_;
};

TEST_F(ProgramTest, SeparatesResultsFromComplaints) {
    struct Row {
        std::vector<std::string> arguments;
        int status;
    };
    const Row rows[] = {{{"--version"}, 0},
                        {{"--help"}, 0},
                        {{"render", "--help"}, 0},
                        {{}, 2},
                        {{"polish"}, 2},
                        {{"render", "--fps=x"}, 2},
                        {{"inspect", "/nowhere/at/all", "x"}, 2}};
    for (const Row& row : rows) {
        const ProgramResult result = run(row.arguments);
        EXPECT_EQ(result.status, row.status) << testing::PrintToString(row.arguments);
        EXPECT_NE(result.out.empty(), result.error.empty()) << result.out << result.error;
        EXPECT_EQ(result.error.empty(), row.status == 0) << result.error;
    }
}

TEST_F(ProgramTest, RendersToANewNameEachTime) {
    change(*Project::load(reel()), [](ProjectInfo& info) { info.name = "My / demo"; });
    const std::vector<std::string> arguments{"render", reel(), "--short-side", "64", "--fps", "10"};
    for (const char* name : {"My - demo.mp4", "My - demo-2.mp4"}) {
        const ProgramResult result = run(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.error, "");
        EXPECT_TRUE(result.out.starts_with(std::string(name) + "\n  114 × 64, 10 fps, 00:00.50, "))
            << result.out;
        EXPECT_TRUE(MovieReader::open(work_ / name)) << name;
    }
    EXPECT_EQ(madeFiles(), (std::vector<std::string>{"My - demo-2.mp4", "My - demo.mp4"}));
}

TEST_F(ProgramTest, ReportsTheRenderAsJson) {
    test::putFile(work_ / "out.mp4", "older");
    const ProgramResult result = run({"render", reel(), "-o", "out.mp4", "--short-side", "64", "--fps", "20",
                                      "--aspect", "1:1", "--fill", "--look", "Paper", "--json"});
    ASSERT_EQ(result.status, 0) << result.error;
    const auto report = nlohmann::json::parse(result.out);
    EXPECT_EQ(report["output"], (work_ / "out.mp4").string());
    EXPECT_EQ(report["width"], 64);
    EXPECT_EQ(report["height"], 64);
    EXPECT_EQ(report["fps"], 20);
    EXPECT_EQ(report["frames"], 10);
    EXPECT_EQ(report["duration"], 0.5);
    EXPECT_EQ(report["bytes"], fs::file_size(work_ / "out.mp4"));
}

TEST_F(ProgramTest, RendersSeveralReelsAndSaysWhichFailed) {
    const ProgramResult result =
        run({"render", reel(), "nowhere", reel(), "--format", "gif", "--gif-width", "64"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.error.find("glintro: nowhere: There is no folder"), std::string::npos) << result.error;
    EXPECT_NE(result.out.find("2 of 3 reels rendered in "), std::string::npos) << result.out;
    EXPECT_EQ(madeFiles().size(), 2U);
    EXPECT_TRUE(
        std::ranges::all_of(madeFiles(), [](const std::string& name) { return name.ends_with(".gif"); }));

    const ProgramResult json =
        run({"render", reel(), "nowhere", "--json", "--short-side", "64", "--fps", "5"});
    EXPECT_EQ(json.status, 1);
    const auto report = nlohmann::json::parse(json.out);
    ASSERT_EQ(report.size(), 2U);
    EXPECT_EQ(report[0]["reel"], reel());
    EXPECT_EQ(report[0]["height"], 64);
    EXPECT_TRUE(report[1].contains("error"));
}

TEST_F(ProgramTest, RendersStills) {
    ASSERT_EQ(
        run({"still", reel(), "--at", "0.3", "-o", "a.png", "--long-side", "96", "--look", "Bare"}).status,
        0);
    const auto picture = loadImage(work_ / "a.png");
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->size, (PixelSize{96, 54}));
    const ProgramResult late = run({"still", reel(), "--at", "99"});
    EXPECT_EQ(late.error, "glintro: The recording has no frame at 99 s, so its last one is rendered.\n");
    for (const char* at : {"0", "0.5"}) EXPECT_EQ(run({"still", reel(), "--at", at}).error, "");
    EXPECT_EQ(madeFiles().size(), 4U);
}

TEST_F(ProgramTest, RendersWithoutWhatIsMissingBesideTheRecording) {
    struct Row {
        std::function<void(const Project&)> spoil;
        std::string sentence;
    };
    const Row rows[] = {
        {[](const Project& reel) { fs::remove(reel.cameraURL()); },
         "glintro: This reel’s camera file (camera.mov) is missing, so the bubble can’t be shown. Everything "
         "else still renders.\n"},
        {[](const Project& reel) { test::putFile(reel.cameraURL(), "no movie"); },
         "glintro: This reel’s camera file (camera.mov) can’t be read, so the bubble can’t be shown. "
         "Everything else still renders.\n"},
        {[](const Project& reel) { test::putFile(reel.eventsURL(), "{\"version\":1,"); },
         "glintro: The recorded pointer and clicks (events.json) can’t be read, so they are left out.\n"},
    };
    for (const Row& row : rows) {
        const fs::path spoiled = work_ / "spoiled";
        fs::copy(reel(), spoiled);
        row.spoil(*Project::load(spoiled));
        const ProgramResult movie =
            run({"render", spoiled, "-o", "a.mp4", "--short-side", "64", "--fps", "5"});
        EXPECT_EQ(movie.status, 0);
        EXPECT_EQ(movie.error, row.sentence);
        const ProgramResult still = run({"still", spoiled, "-o", "a.png", "--long-side", "64"});
        EXPECT_EQ(still.status, 0);
        EXPECT_EQ(still.error, row.sentence);
        fs::remove_all(spoiled);
    }
}

// Each row spoils a copy of a good reel and says what the program then answers. Nothing may be changed or
// left behind.
TEST_F(ProgramTest, AnswersBadInputInOneSentence) {
    struct Row {
        std::function<void(const Project&)> spoil;
        std::vector<std::string> arguments; // "REEL" stands for the copy's folder
        std::string sentence;
    };
    const auto nothing = [](const Project&) {};
    const auto cutOff = [](const fs::path& file) { fs::resize_file(file, fs::file_size(file) / 2); };
    const Row rows[] = {
        {nothing, {"render", "REEL/nowhere"}, "/nowhere”."},
        {nothing, {"render", ""}, "There is no folder “”."},
        {nothing,
         {"still", "REEL/raw.mov"},
         "is not a folder. Give the reel’s folder, the one that holds raw.mov."},
        {nothing, {"render", "/tmp"}, "“/tmp” is not a reel: it holds no raw.mov."},
        {[](const Project& reel) { fs::remove(reel.infoURL()); }, {"render", "REEL"}, "no project file"},
        {[&](const Project& reel) { cutOff(reel.infoURL()); }, {"render", "REEL"}, "is damaged"},
        {[](const Project& reel) { test::putFile(reel.rawURL(), ""); }, {"render", "REEL"}, ""},
        {[](const Project& reel) { test::putFile(reel.rawURL(), ""); }, {"still", "REEL"}, ""},
        {[&](const Project& reel) { cutOff(reel.rawURL()); }, {"render", "REEL"}, ""},
        {[](const Project& reel) {
             fs::remove(reel.rawURL());
             fs::create_directory(reel.rawURL());
         },
         {"render", "REEL"},
         "is not a file."},
        {[](const Project& reel) {
             change(reel, [](ProjectInfo& info) { info.settings.cuts = {{.start = -1, .end = 9}}; });
         },
         {"render", "REEL"},
         "glintro: Nothing is left to export — the whole recording is cut or trimmed away.\n"},
        {nothing, {"render", "REEL", "-o", "."}, "“.” is a folder. Give a file name."},
        {nothing, {"render", "REEL", "-o", "REEL/raw.mov/x.mp4"}, ""},
        {nothing, {"still", "REEL", "-o", "REEL/raw.mov/x.png"}, ""},
        {nothing, {"still", "REEL", "-o", "missing/x.png"}, ""},
        {nothing, {"render", "REEL", "-o", "/proc/x.mp4"}, ""},
        {nothing, {"render", "REEL", "--aspect", "9:16", "--short-side", "8192"}, "too large to encode"},
    };
    for (const Row& row : rows) {
        const fs::path spoiled = work_ / "spoiled";
        fs::copy(reel(), spoiled);
        row.spoil(*Project::load(spoiled));
        const auto before = test::filesIn(work_);
        std::vector<std::string> arguments = row.arguments;
        for (std::string& each : arguments) {
            if (each.starts_with("REEL")) each.replace(0, 4, spoiled);
        }
        const ProgramResult result = run(arguments);
        const std::string what = testing::PrintToString(arguments) + "\n" + result.error;
        EXPECT_EQ(result.status, 1) << what;
        EXPECT_EQ(result.out, "") << what;
        EXPECT_TRUE(isOneSentence(result.error)) << what;
        EXPECT_NE(result.error.find(row.sentence), std::string::npos) << what;
        EXPECT_TRUE(test::filesIn(work_) == before) << what;
        fs::remove_all(spoiled);
    }
}

TEST_F(ProgramTest, SaysWhenItsOutputIsLost) {
    const ProgramResult result =
        runProgram({.arguments = {"inspect", reel(), "--json"}, .folder = work_, .output = "/dev/full"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error, "glintro: The output can’t be written: No space left on device.\n");
}

TEST_F(ProgramTest, IsNotKilledByTheLimitOfAFile) {
    const ProgramResult result =
        runProgram({.arguments = {"-c", "ulimit -f 100; exec \"$0\" sample big --seconds 2", GLINTRO_PROGRAM},
                    .folder = work_,
                    .program = "/bin/sh"});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.error.starts_with("glintro: ")) << result.error;
    EXPECT_EQ(madeFiles(), std::vector<std::string>());
}

TEST_F(ProgramTest, LeavesNothingWhenInterrupted) {
    change(*Project::load(reel()), [](ProjectInfo& info) { info.settings.zooms = {{.start = 0, .end = 2}}; });
    const std::vector<std::string> render{"render", reel(), "--short-side", "2160", "--fps", "240"};
    const std::vector<std::string> sample{"sample", "sample", "--seconds", "600", "--size", "640x400"};
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        for (const auto& arguments : {render, sample}) {
            Program program({.arguments = arguments, .folder = work_});
            // Begun as soon as it has made a file.
            while (program.isRunning() && madeFiles().empty()) std::this_thread::yield();
            program.send(signal);
            const ProgramResult result = program.wait();
            EXPECT_EQ(result.status, 1);
            EXPECT_EQ(result.out, "");
            EXPECT_EQ(result.error, "glintro: Cancelled.\n");
            EXPECT_EQ(madeFiles(), std::vector<std::string>());
        }
    }
}

class EnvironmentMode : public ProgramTest {
  protected:
    ProgramResult run(std::map<std::string, std::string> environment) const {
        return runProgram(
            {.arguments = {"--version"}, .environment = std::move(environment), .folder = work_});
    }
};

TEST_F(EnvironmentMode, RendersTheDemonstration) {
    const Project sample = tinyReel(work_ / "reel", 2);
    const std::string folder = sample.folder();
    const ProgramResult result = run({{"GLINTRO_RENDER", folder}});
    ASSERT_EQ(result.status, 0) << result.out;
    const ProjectInfo saved = Project::load(folder)->info;
    EXPECT_EQ(result.out, "✓ rendered " + folder + "/rendered.mp4 with "
                              + std::to_string(saved.settings.zooms.size()) + " zooms\n");
    EXPECT_EQ(result.error, "");
    ProjectSettings expected = sample.info.settings;
    expected.padding = 0.06;
    expected.cornerRadius = 16;
    expected.shadow = 0.7;
    expected.cursorSize = 1.25;
    expected.showCamera = false;
    expected.zooms = saved.settings.zooms;
    EXPECT_EQ(saved.settings, expected);
    const auto movie = MovieReader::open(fs::path(folder) / "rendered.mp4");
    ASSERT_TRUE(movie);
    EXPECT_EQ((*movie)->properties().naturalSize, (PixelSize{1920, 1080}));
    EXPECT_NEAR((*movie)->properties().frameRate, 30, 0.01);
}

TEST_F(EnvironmentMode, ReadsItsChoicesFromTheEnvironment) {
    struct Row {
        const char* gradient;
        const char* aspect;
        const char* zoom;
        std::int64_t savedGradient;
        PixelSize size;
        double savedZoom;
    };
    const Row rows[] = {
        {"7", "square", "2.5", 7, {1080, 1080}, 2.5},  {"-2", "vertical", "+1.25", -2, {1080, 1920}, 1.25},
        {"+3", "tall", "1e999", 3, {1080, 1920}, 1.6}, {"abc", "portrait", "twice", 0, {1920, 1080}, 1.6},
        {"1.5", "", "nan", 0, {1920, 1080}, 1.6},
    };
    ProjectInfo take = tinyReel(work_ / "reel", 0.5).info;
    take.duration = 3; // what the clicks are placed in, longer than the movie
    const Project reel(work_ / "reel", take);
    ASSERT_TRUE(reel.save());
    ASSERT_TRUE(writeEvents({.duration = 3, .clicks = {{{1.5, 0.5, 0.5}}}}, reel.eventsURL()));
    for (const Row& row : rows) {
        const ProgramResult result = run({{"GLINTRO_RENDER", reel.folder()},
                                          {"GLINTRO_RENDER_OUT", work_ / "out.mp4"},
                                          {"GLINTRO_RENDER_GRADIENT", row.gradient},
                                          {"GLINTRO_RENDER_ASPECT", row.aspect},
                                          {"GLINTRO_RENDER_ZOOM", row.zoom}});
        EXPECT_EQ(result.status, 0) << result.error;
        EXPECT_EQ(result.out, "✓ rendered " + (work_ / "out.mp4").string() + " with 1 zooms\n");
        const ProjectSettings saved = Project::load(reel.folder())->info.settings;
        EXPECT_EQ(saved.gradientIndex, row.savedGradient);
        ASSERT_EQ(saved.zooms.size(), 1U);
        EXPECT_EQ(saved.zooms[0].scale, row.savedZoom);
        const auto movie = MovieReader::open(work_ / "out.mp4");
        ASSERT_TRUE(movie);
        EXPECT_EQ((*movie)->properties().naturalSize, row.size);
    }
}

TEST_F(EnvironmentMode, SaysInOneLineWhatFailed) {
    const fs::path empty = work_ / "empty";
    fs::create_directory(empty);
    const ProgramResult none = run({{"GLINTRO_RENDER", empty}, {"GLINTRO_RENDER_OUT", work_ / "out.mp4"}});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.out, "✗ no Glintro project in " + empty.string() + "\n");
    EXPECT_EQ(madeFiles(), std::vector<std::string>{"empty"});

    handMadeReel(work_ / "broken", {.name = "Broken", .duration = 1, .width = 2, .height = 2});
    const ProgramResult broken = run({{"GLINTRO_RENDER", work_ / "broken"}});
    EXPECT_EQ(broken.status, 1);
    EXPECT_TRUE(broken.out.starts_with("✗ render failed: ")) << broken.out;
    EXPECT_EQ(std::ranges::count(broken.out, '\n'), 1);
    EXPECT_FALSE(fs::exists(work_ / "broken/rendered.mp4"));
}

TEST_F(EnvironmentMode, LetsTheSelfTestsGoFirst) {
    const ProgramResult result = run({{"GLINTRO_RENDER", reel()}, {"GLINTRO_UI_TEST", work_}});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(isOneSentence(result.error)) << result.error;
    EXPECT_FALSE(fs::exists(fs::path(reel()) / "rendered.mp4"));
}

} // namespace
} // namespace glintro
