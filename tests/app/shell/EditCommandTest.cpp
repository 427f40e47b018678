#include <atomic>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/reel/ProjectUpdate.h"
#include "core/reel/TakeJournal.h"
#include "tests/app/shell/Program.h"
#include "tests/app/shell/ReelFixtures.h"
#include "tests/support/Files.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

Timestamp day(int number) {
    return Timestamp(std::chrono::days(20000 + number));
}

class EditCommandTest : public testing::Test {
  protected:
    ProgramResult run(std::vector<std::string> arguments) const {
        return runProgram({.arguments = std::move(arguments),
                           .environment = {{"GLINTRO_LIBRARY_DIR", library_}},
                           .folder = work_.path()});
    }
    ProgramResult edit(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "edit");
        return run(std::move(arguments));
    }
    Project put(const std::string& folder, const std::string& name, int dayNumber = 0) const {
        ProjectInfo info{.name = name, .created = day(dayNumber), .duration = 20, .width = 64, .height = 40};
        info.settings.zooms = {{.start = 4, .end = 8}};
        return handMadeReel(library_ / folder, info, {.duration = 20, .clicks = {{{10, 0.5, 0.5}}}});
    }

    TemporaryFolder work_;
    fs::path library_ = work_ / "library";
};

TEST_F(EditCommandTest, EditsTheReelThatIsMeant) {
    const fs::path older = put("a", "Older", 1).folder();
    const fs::path newer = put("2026-11-22/b", "Démo / two", 2).folder();
    fs::create_directory(work_ / "here");
    put("../here/latest", "By folder", 0);
    const struct {
        fs::path folder;
        std::string reel;
        fs::path meant;
    } rows[] = {
        {"/", older, older},
        {"/", "Older", older},
        {"/", "older", older},
        {"/", "DÉMO / two", newer},
        {"/", "latest", newer},
        {"/", "2026-11-22/b", newer},
        {"/", "a", older},
        {work_ / "here", "latest", work_ / "here/latest"},
        {work_ / "here", "./latest/", work_ / "here/latest"},
    };
    double padding = 0.1;
    for (const auto& row : rows) {
        padding += 0.01;
        const ProgramResult result =
            runProgram({.arguments = {"edit", row.reel, "set", "padding", std::to_string(padding)},
                        .environment = {{"GLINTRO_LIBRARY_DIR", library_}},
                        .folder = row.folder});
        EXPECT_EQ(result.status, 0) << result.error;
        EXPECT_NEAR(Project::load(row.meant)->info.settings.padding, padding, 1e-6) << row.reel;
    }
    const ProgramResult inspected = run({"inspect", "Older"});
    EXPECT_TRUE(inspected.out.starts_with("Older\n")) << inspected.out << inspected.error;
}

TEST_F(EditCommandTest, SaysWhatItDid) {
    const Project reel = put("a", "Demo");
    const ProgramResult result = edit({"Demo", "cut", "2", "restore", "1", "rename", " New\x1B[2Jname "});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(result.out,
              "Shot 2 cut · 4.0s shorter\nRenamed to “New [2Jname”\nNew [2Jname: 00:16.00, 3 shots\n");
    EXPECT_EQ(Project::load(reel.folder())->info.name, "New\x1B[2Jname");
    const auto before = test::filesIn(library_);
    const ProgramResult nothing = edit({reel.folder(), "cut", "2"});
    EXPECT_EQ(nothing.out, "Nothing changed\nNew [2Jname: 00:16.00, 3 shots\n");
    EXPECT_TRUE(test::filesIn(library_) == before);
}

TEST_F(EditCommandTest, PrintsWhatInspectWouldPrint) {
    put("a", "Demo");
    const std::vector<std::string> arguments{"Demo", "--json", "move", "8",    "-1",       "trim",
                                             "1",    "19",     "look", "Mono", "auto-zoom"};
    auto dry = arguments;
    dry.push_back("--dry-run");
    const auto before = test::filesIn(library_);
    const ProgramResult wouldBe = edit(dry);
    EXPECT_EQ(wouldBe.status, 0) << wouldBe.error;
    EXPECT_TRUE(test::filesIn(library_) == before);
    const ProgramResult result = edit(arguments);
    EXPECT_EQ(result.out, run({"inspect", "Demo", "--json"}).out);
    auto expected = nlohmann::json::parse(wouldBe.out);
    auto saved = nlohmann::json::parse(result.out);
    for (auto* each : {&expected, &saved}) {
        EXPECT_EQ((*each)["info"]["settings"]["zooms"].size(), 1U);
        (*each)["info"]["settings"]["zooms"][0].erase("id");
        for (auto& shot : (*each)["shots"]) shot.erase("zoomID");
    }
    EXPECT_EQ(saved, expected);
}

TEST_F(EditCommandTest, ChangesNoByteWhenItRefuses) {
    put("a", "Demo");
    put("b", "Twin");
    put("c/d", "Twin");
    handMadeReel(library_ / "rec", {.name = "Rec"});
    fs::remove(library_ / "rec/project.json");
    const auto journal = TakeJournal::create(library_ / "rec").value();
    put("bad", "Bad");
    test::putFile(library_ / "bad/project.json", "{");
    put("deaf", "Deaf");
    test::putFile(library_ / "deaf/events.json", "{");
    const std::string recorded = library_ / "rec";
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string sentence;
    } rows[] = {
        {{"Demo"}, 2, "At least one operation is expected, such as “cut 2”."},
        {{"Demo", "cut", "2", "polish"}, 2, "“polish” is not an operation."},
        {{"Demo", "cut", "--json", "-1"}, 2, "cut expects a shot’s number from 1, not “-1”."},
        {{"Demo", "-1", "cut", "1"}, 2, "“-1” is not an operation."},
        {{"Demo", "rename", "--json"}, 2, "More is expected behind “rename”"},
        {{"Demo", "--quick", "cut", "1"}, 2, "“--quick” is not an option of glintro edit."},
        {{"Demo", "set", "padding", "0.3", "--quick"}, 2, "“--quick” is not an option of glintro edit."},
        {{}, 2, "REEL is required."},
        {{"Demo", "cut", "2", "cut", "9"}, 1, "glintro: “cut 9” can’t be done: the last shot is shot 3.\n"},
        {{"Twin", "cut", "2"},
         1,
         "glintro: 2 reels are called “Twin”. Give the folder of the one you mean: "},
        {{"Nobody", "cut", "2"},
         1,
         "glintro: There is no folder “Nobody”, and the library has no reel of that name.\n"},
        {{recorded, "cut", "1"}, 1, "is being recorded right now. Stop the recording first."},
        {{library_ / "bad", "cut", "1"}, 1, "is damaged: “glintro recover” rebuilds it."},
        {{"Deaf", "auto-zoom"}, 1, "(events.json) can’t be read, so no zooms can be made from them.\n"},
    };
    const auto before = test::filesIn(library_);
    for (const auto& row : rows) {
        const ProgramResult result = edit(row.arguments);
        EXPECT_EQ(result.status, row.status) << row.sentence << result.error;
        EXPECT_NE(result.error.find(row.sentence), std::string::npos) << result.error;
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(test::filesIn(library_) == before) << row.sentence;
    }
    const ProgramResult help = edit({"Demo", "cut", "1", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("glintro edit [OPTIONS] REEL OPERATION...\n"), std::string::npos) << help.out;
    EXPECT_NE(help.out.find("split T"), std::string::npos) << help.out;
}

TEST_F(EditCommandTest, TakesAnyNameBehindTheEndOfTheOptions) {
    const Project reel = put("a", "Demo");
    EXPECT_EQ(edit({"Demo", "--", "rename", "--json"}).status, 0);
    EXPECT_EQ(Project::load(reel.folder())->info.name, "--json");
}

TEST_F(EditCommandTest, KeepsWhatOtherProcessesEditMeanwhile) {
    const Project reel = put("a", "Demo");
    change(reel, [](ProjectInfo& info) { info.settings.zooms.clear(); });
    constexpr int kEdits = 8;
    std::atomic<bool> isOver = false;
    std::jthread reader([&] {
        while (!isOver) EXPECT_TRUE(Project::load(reel.folder()));
    });
    {
        std::vector<std::jthread> editors;
        for (const int first : {0, 1}) {
            editors.emplace_back([&, first] {
                for (int i = first; i < 2 * kEdits; i += 2)
                    EXPECT_EQ(edit({reel.folder(), "split", std::to_string(0.75 * (i + 1))}).status, 0) << i;
            });
        }
    }
    isOver = true;
    EXPECT_EQ(Project::load(reel.folder())->info.settings.splits.size(), 2U * kEdits);
    EXPECT_EQ(std::distance(fs::directory_iterator(reel.folder()), {}), 3);
}

TEST_F(EditCommandTest, AppliesTheChangeAgainWhenSomebodySavedMeanwhile) {
    const Project reel = put("a", "Demo");
    const fs::path abandoned = reel.folder() / ".ABCD.partial.json";
    const fs::path young = reel.folder() / ".EF01.partial.json";
    for (const fs::path& file : {abandoned, young}) test::putFile(file, "{");
    fs::last_write_time(abandoned, fs::file_time_type::clock::now() - std::chrono::minutes(11));
    int calls = 0;
    const auto done = updateProject(reel.folder(), [&](ProjectInfo& info) -> Result<void> {
        if (++calls == 1) change(reel, [](ProjectInfo& saved) { saved.settings.padding = 0.15; });
        info.name = "Changed";
        return {};
    });
    ASSERT_TRUE(done) << done.error().message;
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(Project::load(reel.folder())->info.name, "Changed");
    EXPECT_EQ(Project::load(reel.folder())->info.settings.padding, 0.15);
    EXPECT_FALSE(fs::exists(abandoned));
    EXPECT_TRUE(fs::exists(young));
}

TEST_F(EditCommandTest, SaysWhyItCannotSave) {
    const Project reel = put("a", "Demo");
    fs::remove(reel.infoURL());
    const auto gone = updateProject(reel.folder(), [](ProjectInfo&) -> Result<void> { return {}; });
    ASSERT_FALSE(gone);
    EXPECT_TRUE(gone.error().message.ends_with(": No such file or directory.")) << gone.error().message;
}

} // namespace
} // namespace glintro
