#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/media/decode/MovieReader.h"
#include "tests/app/shell/Program.h"
#include "tests/app/shell/ReelFixtures.h"
#include "tests/core/reel/Takes.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

class RecoverCommandTest : public testing::Test {
  protected:
    ProgramResult recover(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "recover");
        return runProgram({.arguments = std::move(arguments), .folder = work_.path()});
    }
    void putInterruptedTake(const std::string& name) const {
        fs::create_directory(work_ / name);
        const auto journal = TakeJournal::create(work_ / name).value();
        journal->firstFrame(100);
        journal->click({101, {0.5, 0.5}});
        test::TakeMaker(work_ / name / "raw.mov", test::TakeMaker::Sound::tone).writeFrames(60);
    }

    TemporaryFolder work_;
};

TEST_F(RecoverCommandTest, GoesOnBehindAReelThatFails) {
    const std::vector<std::string> folders{"nowhere", "take", "other", "begun", "damaged"};
    const auto prepare = [&] {
        putInterruptedTake("take");
        fs::create_directories(work_ / "other");
        fs::create_directories(work_ / "begun");
        (void)TakeJournal::create(work_ / "begun");
        tinyReel(work_ / "damaged");
        test::putFile(work_ / "damaged/project.json", "damaged");
    };
    prepare();
    const ProgramResult text = recover(folders);
    EXPECT_EQ(text.status, 1);
    EXPECT_TRUE(text.out.starts_with("take: recovered, ")) << text.out;
    EXPECT_NE(text.out.find("\nbegun: nothing was recorded, so its files are removed\n"), std::string::npos)
        << text.out;
    EXPECT_TRUE(text.out.ends_with("\ndamaged: recovered, 00:00.50, sound, camera\n")) << text.out;
    EXPECT_EQ(text.error,
              "glintro: There is no folder “nowhere”.\n"
              "glintro: “other” is not a reel: it holds no raw.mov.\n"
              "glintro: 2 of 5 reels could not be recovered.\n");

    EXPECT_EQ(recover({"take/"}).out, "take/: was fine\n");
    fs::remove_all(work_ / "take");
    fs::remove_all(work_ / "damaged");
    prepare();
    const ProgramResult json = recover({"nowhere", "take", "begun", "damaged", "--json"});
    EXPECT_EQ(json.status, 1);
    const auto report = nlohmann::json::parse(json.out);
    ASSERT_EQ(report.size(), 4U);
    EXPECT_EQ(report[0]["reel"], "nowhere");
    EXPECT_EQ(report[0]["error"], "There is no folder “nowhere”.");
    EXPECT_EQ(report[1]["status"], "recovered");
    EXPECT_EQ(report[1]["duration"], Project::load(work_ / "take")->info.duration);
    EXPECT_EQ(report[1]["hasAudio"], true);
    EXPECT_EQ(report[2], (nlohmann::json{{"reel", "begun"}, {"status", "nothing recorded"}}));
    EXPECT_EQ(report[3]["name"], "damaged");
    EXPECT_EQ(report[3]["hasCamera"], true);
}

} // namespace
} // namespace glintro
