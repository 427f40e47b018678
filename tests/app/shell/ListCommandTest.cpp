#include <chrono>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/reel/TakeJournal.h"
#include "tests/app/shell/Program.h"
#include "tests/app/shell/ReelFixtures.h"
#include "tests/support/Files.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

class ListCommandTest : public testing::Test {
  protected:
    ProgramResult run(std::vector<std::string> arguments) const {
        return runProgram({.arguments = std::move(arguments),
                           .environment = {{"GLINTRO_LIBRARY_DIR", library_}, {"TZ", "UTC"}, {"LC_ALL", "C"}},
                           .folder = work_.path()});
    }
    void put(const std::string& folder, const std::string& name, Timestamp created) const {
        handMadeReel(library_ / folder,
                     {.name = name, .created = created, .duration = 65.5, .width = 64, .height = 40});
    }

    TemporaryFolder work_;
    fs::path library_ = work_ / "library";
};

TEST_F(ListCommandTest, PrintsTheReelsByDay) {
    using namespace std::chrono;
    const auto now = floor<seconds>(system_clock::now());
    put("2025-03-14/09.26.53", "Pi\n\x1B[31mred", sys_days(2025y / 3 / 14) + 9h + 26min);
    put("older", "Same day", sys_days(2025y / 3 / 14) + 8h);
    put("new", "Démo", now);
    const ProgramResult all = run({"list"});
    EXPECT_EQ(all.status, 0) << all.error;
    EXPECT_TRUE(all.out.starts_with("Today\n")) << all.out;
    EXPECT_NE(all.out.find("  01:05.50  new                  Démo\n"), std::string::npos) << all.out;
    const std::size_t day = all.out.find("Mar 14, 2025\n");
    ASSERT_NE(day, std::string::npos) << all.out;
    const std::size_t first = all.out.find("  2025-03-14/09.26.53  Pi  [31mred\n", day);
    EXPECT_NE(first, std::string::npos) << all.out;
    EXPECT_LT(first, all.out.find("Same day")) << all.out;

    const ProgramResult found = run({"list", "DÉMO", "--json"});
    const auto report = nlohmann::json::parse(found.out);
    ASSERT_EQ(report["reels"].size(), 1U) << found.out;
    EXPECT_EQ(report["library"], library_.string());
    EXPECT_EQ(report["reels"][0]["name"], "Démo");
    EXPECT_EQ(report["reels"][0]["reel"], (library_ / "new").string());
    EXPECT_EQ(report["reels"][0]["duration"], 65.5);
    EXPECT_EQ(report["reels"][0]["created"], timestampText(now).value());
    EXPECT_EQ(run({"list", "demo"}).out, "No reel’s name contains “demo”.\n");
}

TEST_F(ListCommandTest, NamesWhatHasToBeRecovered) {
    put("damaged", "Damaged", {});
    test::putFile(library_ / "damaged/project.json", "{");
    fs::create_directories(library_ / "2026-11-22/taken");
    (void)TakeJournal::create(library_ / "2026-11-22/taken");
    fs::create_directories(library_ / "running");
    const auto running = TakeJournal::create(library_ / "running");
    EXPECT_EQ(run({"list"}).out, "Damaged: “glintro recover FOLDER” rebuilds them\n  "
                                     + (library_ / "damaged").string()
                                     + "\nInterrupted: “glintro recover FOLDER” completes them\n  "
                                     + (library_ / "2026-11-22/taken").string() + "\n");
    const auto report = nlohmann::json::parse(run({"list", "--json"}).out);
    EXPECT_EQ(report["damaged"], nlohmann::json::array({(library_ / "damaged").string()}));
    EXPECT_EQ(report["interrupted"], nlohmann::json::array({(library_ / "2026-11-22/taken").string()}));
    EXPECT_EQ(nlohmann::json::parse(run({"list", "dam", "--json"}).out)["interrupted"].size(), 0U);
}

TEST_F(ListCommandTest, SaysWhatAnEmptyLibraryIs) {
    for (const bool exists : {false, true}) {
        if (exists) fs::create_directory(library_);
        const ProgramResult empty = run({"list"});
        EXPECT_EQ(empty.status, 0);
        EXPECT_NE(empty.out.find("“glintro record”"), std::string::npos) << empty.out;
        EXPECT_EQ(nlohmann::json::parse(run({"list", "--json"}).out)["reels"], nlohmann::json::array());
    }
    const ProgramResult latest = run({"inspect", "latest"});
    EXPECT_EQ(latest.status, 1);
    EXPECT_EQ(latest.error, "glintro: There is no reel in “" + library_.string() + "” yet.\n");
    fs::remove(library_);
    test::putFile(library_, "");
    const ProgramResult file = run({"list"});
    EXPECT_EQ(file.status, 1);
    EXPECT_EQ(file.error,
              "glintro: The library “" + library_.string() + "” can’t be read: Not a directory.\n");
}

} // namespace
} // namespace glintro
