#include <fstream>

#include <gtest/gtest.h>
#include <sys/file.h>

#include "app/editor/ProjectSaver.h"
#include "core/base/FileIO.h"
#include "tests/app/editor/ManualTime.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/EventLoop.h"
#include "tests/support/SmallDisk.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test::handleUntil;
using State = ProjectSaver::State;

Project makeProject(const fs::path& folder) {
    fs::create_directories(folder);
    std::ofstream(folder / "raw.mov") << "a movie";
    Project project(folder, {.name = "Reel", .duration = 20, .width = 320, .height = 200});
    EXPECT_TRUE(project.save());
    return project;
}

ProjectInfo onDisk(const Project& project) {
    const auto loaded = Project::load(project.folder());
    return loaded ? loaded->info : ProjectInfo();
}

// What another process makes of a project file: written beside it and moved over it, as every version of this
// program does.
void saveElsewhere(const Project& project, const std::function<void(ProjectInfo&)>& change) {
    ProjectInfo theirs = onDisk(project);
    change(theirs);
    const fs::path beside = project.folder() / "theirs";
    const auto text = encodeProjectInfo(theirs);
    ASSERT_TRUE(text && writeFile(beside, *text));
    test::ChildProcess move({"mv", beside.string(), project.infoURL().string()});
    ASSERT_EQ(move.wait(), 0);
}

class ProjectSaverTest : public testing::Test {
  protected:
    explicit ProjectSaverTest() { test::application(); }

    // The saver of a reel, with what it tells.
    struct Saving {
        Saving(const Project& reel, test::ManualTime& time) : project(reel), saver(reel, time.timers()) {
            QObject::connect(&saver, &ProjectSaver::saved, [this] { ++saves; });
            QObject::connect(&saver, &ProjectSaver::looked, [this] { ++looks; });
            QObject::connect(&saver, &ProjectSaver::closed,
                             [this](bool isSaved) { closings.push_back(isSaved); });
            QObject::connect(&saver, &ProjectSaver::settingsArrived,
                             [this](const ProjectSettings& theirs) { arrived.push_back(theirs); });
            QObject::connect(&saver, &ProjectSaver::settingsOverruled,
                             [this](const ProjectSettings& theirs) { overruled.push_back(theirs); });
        }
        void setPadding(double padding) {
            settings.padding = padding;
            saver.setSettings(settings);
        }
        [[nodiscard]] bool reaches(State state) {
            return handleUntil([&] { return saver.state() == state; });
        }
        // Lets time pass until the file has been looked at once more.
        [[nodiscard]] bool looksAgain(test::ManualTime& time) {
            const int before = looks;
            return handleUntil([&] {
                time.pass(50ms);
                return looks > before;
            });
        }

        Project project;
        ProjectSettings settings;
        ProjectSaver saver;
        int saves = 0;
        int looks = 0;
        std::vector<ProjectSettings> arrived;
        std::vector<ProjectSettings> overruled;
        std::vector<bool> closings; // whether all was saved
    };

    TemporaryFolder folder;
    test::ManualTime time; // outlives the savers
};

TEST_F(ProjectSaverTest, ABurstOfChangesIsOneSaveAfterTheLast) {
    Saving saving(makeProject(folder / "reel"), time);
    for (int i = 1; i <= 5; ++i) {
        saving.setPadding(i * 0.01);
        if (i < 5) time.pass(100ms);
    }
    time.pass(599ms);
    EXPECT_EQ(saving.saver.state(), State::unsaved);
    time.pass(1ms);
    EXPECT_EQ(saving.saver.state(), State::saving);
    ASSERT_TRUE(saving.reaches(State::saved));
    EXPECT_EQ(onDisk(saving.project).settings.padding, 0.05);
    time.pass(5s);
    EXPECT_TRUE(saving.saver.closeAndWait());
    EXPECT_EQ(saving.saves, 1);
}

TEST_F(ProjectSaverTest, WhatIsOnTheDiskIsNotWrittenAgain) {
    Saving saving(makeProject(folder / "reel"), time);
    saving.setPadding(0.1);
    saving.setPadding(ProjectSettings().padding); // undone
    EXPECT_EQ(saving.saver.state(), State::saved);
    time.pass(5s);
    EXPECT_TRUE(saving.saver.closeAndWait());
    EXPECT_EQ(saving.saves, 0);
}

TEST_F(ProjectSaverTest, TheNewestValueIsOnTheDiskAfterCloseHoweverItCameAbout) {
    const Project project = makeProject(folder / "reel");
    for (const bool isClosed : {true, false}) {
        {
            Saving saving(project, time);
            saving.setPadding(0.11 + isClosed);
            saving.saver.saveNow();
            saving.setPadding(0.12 + isClosed); // while the first is being written
            saving.saver.saveNow();
            saving.setPadding(0.13 + isClosed);
            if (isClosed) {
                EXPECT_TRUE(saving.saver.closeAndWait());
            }
        }
        EXPECT_EQ(onDisk(project).settings.padding, 0.13 + isClosed);
    }
}

TEST_F(ProjectSaverTest, AFailedSaveIsSaidAndTriedAgainUntilItSucceeds) {
    const test::SmallDisk disk(folder / "disk", "100k");
    if (!disk.isMounted()) GTEST_SKIP() << "A small file system can only be mounted by root.";
    Saving saving(makeProject(folder / "disk" / "reel"), time);
    disk.fill(1);
    saving.setPadding(0.1);
    time.pass(600ms);
    ASSERT_TRUE(saving.reaches(State::failed));
    EXPECT_EQ(saving.saver.message().toStdString(), "Not saved: the disk is full");
    EXPECT_NE(onDisk(saving.project).settings.padding, 0.1); // and is whole
    saving.setPadding(0.2);                                  // stays said
    EXPECT_EQ(saving.saver.state(), State::failed);
    EXPECT_FALSE(saving.saver.closeAndWait());
    EXPECT_EQ(saving.closings, std::vector<bool>{false});
    disk.empty();
    ASSERT_TRUE(handleUntil([&] {
        time.pass(500ms);
        return saving.saver.state() == State::saved;
    }));
    EXPECT_EQ(saving.saver.message(), "");
    EXPECT_EQ(onDisk(saving.project).settings.padding, 0.2);

    ASSERT_TRUE(disk.setReadOnly(true));
    saving.setPadding(0.3);
    saving.saver.saveNow();
    ASSERT_TRUE(saving.reaches(State::failed));
    EXPECT_EQ(saving.saver.message().toStdString(), "Not saved: the reel’s folder can’t be written to");
    ASSERT_TRUE(disk.setReadOnly(false));
    saving.saver.saveNow(); // "Try again"
    ASSERT_TRUE(saving.reaches(State::saved));
    EXPECT_EQ(onDisk(saving.project).settings.padding, 0.3);
}

// A program that locks the file stands in for a disk that does not answer.
TEST_F(ProjectSaverTest, TheNewestValueIsWrittenOnceTheDiskAnswersAlsoAfterAll) {
    const Project project = makeProject(folder / "reel");
    {
        auto locked = openRegularFile(project.infoURL());
        ASSERT_TRUE(locked && ::flock(locked->descriptor.value(), LOCK_EX) == 0);
        Saving saving(project, time);
        saving.setPadding(0.1);
        saving.saver.saveNow();
        time.pass(ProjectSaver::kStall);
        EXPECT_EQ(saving.saver.state(), State::failed);
        EXPECT_EQ(saving.saver.message().toStdString(), "Not saved: the disk doesn’t answer");
        saving.setPadding(0.2);
        const auto start = std::chrono::steady_clock::now();
        saving.saver.close();
        EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
        EXPECT_FALSE(saving.saver.closeAndWait(10ms));
        EXPECT_TRUE(saving.closings.empty());
    }
    EXPECT_TRUE(test::waitUntil([&] { return onDisk(project).settings.padding == 0.2; }));
}

TEST_F(ProjectSaverTest, WhatAnotherProcessChangedComesIn) {
    Saving saving(makeProject(folder / "reel"), time);
    saving.saver.watch();
    ASSERT_TRUE(saving.looksAgain(time));
    saveElsewhere(saving.project, [](ProjectInfo& theirs) { theirs.settings.shadow = 0.1; });
    ASSERT_TRUE(handleUntil([&] {
        time.pass(50ms);
        return !saving.arrived.empty();
    }));
    EXPECT_EQ(saving.arrived.back().shadow, 0.1);
    EXPECT_EQ(saving.saver.state(), State::saved);

    // In place, as a text editor may do it.
    std::string text = *readFile(saving.project.infoURL(), 1 << 20);
    text.replace(text.find("\"Reel\""), 6, "\"Show\"");
    std::ofstream(saving.project.infoURL()) << text;
    ASSERT_TRUE(handleUntil([&] {
        time.pass(50ms);
        return saving.saver.newest().name == "Show";
    }));
    EXPECT_TRUE(saving.saver.closeAndWait());
    EXPECT_EQ(saving.saves, 0);
    EXPECT_EQ(saving.arrived.size(), 1u);
}

// Nobody looked before the save: the last one holds, and what it replaced is handed out.
TEST_F(ProjectSaverTest, TheLaterSaveHoldsAndTheOtherIsTold) {
    struct Row {
        const char* name;
        std::function<void(ProjectInfo&)> theirs;
        std::string nameAfter;
        bool isOverruled;
    };
    const Row rows[] = {
        {"renamed", [](auto& i) { i.name = "Theirs"; }, "Theirs", false},
        {"edited", [](auto& i) { i.settings.shadow = 0.1; }, "Reel", true},
        {"both", [](auto& i) { i.name = "Theirs", i.settings.shadow = 0.1; }, "Theirs", true},
        {"edited alike", [](auto& i) { i.settings.padding = 0.1; }, "Reel", false},
    };
    for (const Row& row : rows) {
        Saving saving(makeProject(folder / row.name), time);
        saving.setPadding(0.1);
        saveElsewhere(saving.project, row.theirs);
        EXPECT_TRUE(saving.saver.closeAndWait()) << row.name;
        const ProjectInfo after = onDisk(saving.project);
        EXPECT_EQ(after.name, row.nameAfter) << row.name;
        EXPECT_EQ(after.settings, saving.settings) << row.name;
        EXPECT_EQ(saving.overruled.size(), row.isOverruled ? 1u : 0u) << row.name;
        EXPECT_TRUE(saving.arrived.empty()) << row.name;
    }
}

TEST_F(ProjectSaverTest, ANameFromHereAndSettingsFromElsewhereAreBothKept) {
    Saving saving(makeProject(folder / "reel"), time);
    saving.saver.setName("Ours");
    saveElsewhere(saving.project, [](ProjectInfo& theirs) { theirs.settings.shadow = 0.1; });
    EXPECT_TRUE(saving.saver.closeAndWait());
    EXPECT_EQ(onDisk(saving.project).name, "Ours");
    EXPECT_EQ(saving.arrived.size(), 1u);
}

TEST_F(ProjectSaverTest, AReelThatIsGoneIsNotMadeAgain) {
    Saving saving(makeProject(folder / "reel"), time);
    saving.saver.watch();
    ASSERT_TRUE(saving.looksAgain(time));
    fs::rename(folder / "reel", folder / "elsewhere");
    ASSERT_TRUE(handleUntil([&] {
        time.pass(50ms);
        return saving.saver.isReelGone();
    }));
    saving.setPadding(0.1);
    time.pass(600ms);
    ASSERT_TRUE(saving.reaches(State::failed));
    EXPECT_EQ(saving.saver.message().toStdString(), "Not saved: the reel’s folder is gone");
    EXPECT_FALSE(fs::exists(folder / "reel"));
    // A folder without its recording is no reel either.
    fs::create_directories(folder / "reel");
    int changes = 0;
    QObject::connect(&saving.saver, &ProjectSaver::stateChanged, [&] { ++changes; });
    saving.saver.saveNow();
    ASSERT_TRUE(saving.looksAgain(time)); // after that
    EXPECT_EQ(changes, 0);
    EXPECT_TRUE(saving.saver.isReelGone());
    EXPECT_TRUE(fs::is_empty(folder / "reel"));
    fs::remove(folder / "reel");
    fs::rename(folder / "elsewhere", folder / "reel"); // taken out of the Trash
    ASSERT_TRUE(handleUntil([&] {
        time.pass(50ms);
        return saving.saver.state() == State::saved;
    }));
    EXPECT_FALSE(saving.saver.isReelGone());
    EXPECT_EQ(onDisk(saving.project).settings.padding, 0.1);
}

TEST_F(ProjectSaverTest, AnotherReelInItsPlaceIsLeftAlone) {
    Saving saving(makeProject(folder / "reel"), time);
    saveElsewhere(saving.project, [](ProjectInfo& theirs) { theirs.duration = 7; });
    const auto before = readFile(saving.project.infoURL(), 1 << 20);
    saving.setPadding(0.1);
    EXPECT_FALSE(saving.saver.closeAndWait());
    EXPECT_TRUE(saving.saver.isReelGone());
    EXPECT_EQ(readFile(saving.project.infoURL(), 1 << 20), before);
}

TEST_F(ProjectSaverTest, AFileThatNobodyCanReadIsKeptBesideTheNewOne) {
    Saving saving(makeProject(folder / "reel"), time);
    saving.setPadding(0.1);
    saving.saver.saveNow();
    ASSERT_TRUE(saving.reaches(State::saved));
    std::ofstream(saving.project.infoURL()) << "{ half";
    saving.setPadding(0.2);
    EXPECT_TRUE(saving.saver.closeAndWait());
    EXPECT_EQ(onDisk(saving.project).settings.padding, 0.2);
    EXPECT_EQ(readFile(saving.project.damagedURL(), 100).value_or(""), "{ half");
}

// Else a library that watches the folder would rebuild it, with the settings of a new reel.
TEST_F(ProjectSaverTest, AFileThatAnotherProgramDamagesIsWrittenAnewWithoutAChangeFromHere) {
    Saving saving(makeProject(folder / "reel"), time);
    saving.setPadding(0.1);
    saving.saver.saveNow();
    ASSERT_TRUE(saving.reaches(State::saved));
    saving.saver.watch();
    ASSERT_TRUE(saving.looksAgain(time));
    std::ofstream(saving.project.infoURL()) << "{ half";
    ASSERT_TRUE(handleUntil([&] {
        time.pass(50ms);
        return saving.saves == 2;
    }));
    EXPECT_EQ(saving.saver.state(), State::saved);
    EXPECT_EQ(onDisk(saving.project).settings.padding, 0.1);
    EXPECT_EQ(readFile(saving.project.damagedURL(), 100).value_or(""), "{ half");

    // One that was only half written when it was looked at comes in whole.
    ProjectInfo theirs = onDisk(saving.project);
    theirs.settings.shadow = 0.1;
    std::ofstream(saving.project.infoURL()) << "{ ha";
    ASSERT_TRUE(handleUntil([&] {
        time.pass(50ms);
        return saving.saver.state() == State::unsaved;
    }));
    std::ofstream(saving.project.infoURL()) << *encodeProjectInfo(theirs);
    ASSERT_TRUE(handleUntil([&] {
        time.pass(50ms);
        return !saving.arrived.empty();
    }));
    EXPECT_EQ(saving.saver.newest().settings.padding, 0.1);
    EXPECT_EQ(onDisk(saving.project).settings.shadow, 0.1);
}

// Two that save as fast as they can: every reader sees a whole file, and the last word is somebody's.
TEST_F(ProjectSaverTest, NothingIsTornBetweenTwoProcesses) {
    Saving saving(makeProject(folder / "reel"), time);
    saving.saver.watch();
    saveElsewhere(saving.project, [](ProjectInfo& theirs) { theirs.settings.shadow = 0.25; });
    fs::copy(saving.project.infoURL(), folder / "theirs.json");
    const std::string script =
        "while [ ! -e \"$2/stop\" ]; do cp \"$1\" \"$2/b\"; mv \"$2/b\" \"$2/project.json\"; done";
    test::ChildProcess other({"sh", "-c", script, "sh", folder / "theirs.json", folder / "reel"});
    for (int i = 1; i <= 60; ++i) {
        saving.settings = saving.saver.newest().settings;
        saving.setPadding(i * 0.001);
        saving.saver.saveNow();
        ASSERT_TRUE(handleUntil([&] {
            EXPECT_EQ(Project::inspect(saving.project.folder()).status, Project::LoadResult::Status::ok);
            return saving.saver.state() != State::saving;
        }));
    }
    std::ofstream(folder / "reel" / "stop") << "";
    EXPECT_EQ(other.wait(), 0);
    saving.setPadding(0.15);
    EXPECT_TRUE(saving.saver.closeAndWait());
    EXPECT_EQ(onDisk(saving.project).settings.padding, 0.15);
}

} // namespace
} // namespace glintro
