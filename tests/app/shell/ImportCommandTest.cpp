#include <csignal>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/app/shell/Program.h"
#include "tests/app/shell/ReelFixtures.h"
#include "tests/support/Files.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

class ImportCommandTest : public testing::Test {
  protected:
    ImportCommandTest() {
        const Project reel = tinyReel(work_ / "made");
        fs::rename(reel.rawURL(), work_ / "Démo 🎬 take.mov");
        fs::rename(reel.cameraURL(), work_ / "camera.mp4");
        test::putFile(work_ / "text.mov", "no movie");
    }
    ProgramCall call(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "import");
        return {.arguments = std::move(arguments),
                .environment = {{"GLINTRO_LIBRARY_DIR", library_}},
                .folder = work_.path()};
    }

    TemporaryFolder work_;
    fs::path library_ = work_ / "library";
};

TEST_F(ImportCommandTest, ImportsAllThatAreMoviesAndSaysWhichAreNot) {
    const ProgramResult result = runProgram(call({"Démo 🎬 take.mov", "text.mov", "camera.mp4", "--json"}));
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error,
              "glintro: text.mov: “text.mov” isn’t a video Glintro can open.\n"
              "glintro: 1 of 3 files could not be imported.\n");
    const auto report = nlohmann::json::parse(result.out);
    ASSERT_EQ(report.size(), 3U) << result.out;
    EXPECT_EQ(report[0]["file"], "Démo 🎬 take.mov");
    EXPECT_EQ(report[0]["name"], "Démo 🎬 take");
    EXPECT_EQ(report[0]["width"], 128);
    EXPECT_EQ(report[0]["hasAudio"], true);
    EXPECT_EQ(report[1]["error"], "“text.mov” isn’t a video Glintro can open.");
    for (const int i : {0, 2}) {
        const auto reel = Project::load(report[i]["reel"].get<std::string>());
        ASSERT_TRUE(reel) << report[i];
        EXPECT_EQ(reel->info.name, report[i]["name"]);
        EXPECT_EQ(reel->folder().parent_path().parent_path(), library_);
    }
}

TEST_F(ImportCommandTest, AnswersOneFileInOneSentenceOrOneReel) {
    const ProgramResult bad = runProgram(call({"text.mov"}));
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.out, "");
    EXPECT_EQ(bad.error, "glintro: “text.mov” isn’t a video Glintro can open.\n");
    EXPECT_FALSE(fs::exists(library_));
    const ProgramResult good = runProgram(call({"camera.mp4"}));
    EXPECT_EQ(good.status, 0) << good.error;
    EXPECT_TRUE(good.out.starts_with(library_.string() + "/")) << good.out;
    EXPECT_NE(good.out.find("\n  camera, 1280 × 720, 00:00."), std::string::npos) << good.out;
}

TEST_F(ImportCommandTest, LeavesNothingWhenInterrupted) {
    fs::resize_file(work_ / "camera.mp4", std::uintmax_t{8} << 30); // zeros that are read, but not stored
    Program program(call({"camera.mp4", "Démo 🎬 take.mov"}));
    while (program.isRunning() && !fs::exists(library_)) std::this_thread::yield();
    program.send(SIGINT);
    const ProgramResult result = program.wait();
    if (result.status == 0) GTEST_SKIP() << "This file system clones files, which is over at once.";
    EXPECT_EQ(result.error, "glintro: Cancelled.\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_FALSE(fs::exists(library_));
}

} // namespace
} // namespace glintro
