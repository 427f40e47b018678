#include <random>

#include <sys/wait.h>
#include <unistd.h>

#include "app/library/ReelTrash.h"
#include "tests/app/library/LibraryFixture.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test::allBelow;
using test::handleUntil;
using test::putReel;
using Names = std::vector<std::string>;

TEST_F(LibraryModel, MovesToTheTrashAndBack) {
    const Project project = putReel(root_ / "2026-01-01/10.00.00", "A reel");
    Library& library = open();
    const auto before = readFile(project.infoURL(), 1U << 20);
    for (const bool parentGoes : {false, true}) {
        library.trash(folder("2026-01-01/10.00.00"));
        library.trash(folder("2026-01-01/10.00.00"));
        ASSERT_TRUE(handleUntil([&] { return library.count() == 0; }));
        EXPECT_EQ(lastToast(), "Moved “A reel” to the Trash");
        EXPECT_EQ(toasts_.size(), 1U);
        EXPECT_EQ(toasts_.back().symbol, "trash");
        EXPECT_EQ(toasts_.back().action, "Undo");
        EXPECT_FALSE(fs::exists(project.folder()));
        if (parentGoes) fs::remove(project.folder().parent_path());
        toasts_.back().run();
        toasts_.back().run();
        ASSERT_TRUE(handleUntil([&] { return library.count() == 1; }));
        EXPECT_EQ(readFile(project.infoURL(), 1U << 20), before);
        for (const std::string& name : allBelow(home_ / "data"))
            EXPECT_TRUE(fs::is_directory(home_ / "data" / name)) << name << " is left in the Trash";
        toasts_.clear();
    }
}

TEST_F(LibraryModel, LeavesAReelInTheTrashWhenItsPlaceIsUsed) {
    putReel(root_ / "d/1", "First");
    Library& library = open();
    library.trash(folder("d/1"));
    ASSERT_TRUE(handleUntil([&] { return library.count() == 0 && !toasts_.empty(); }));
    const Toast undo = toasts_.back();
    putReel(root_ / "d/1", "Second");
    undo.run();
    ASSERT_TRUE(handleUntil([&] { return toasts_.size() == 2; }));
    EXPECT_EQ(lastToast(), "Another reel stands where this one was, so it was left in the Trash.");
    EXPECT_EQ(Project::load(root_ / "d/1")->info.name, "Second");
    library_.reset();
    undo.run(); // outlives the library
}

TEST_F(LibraryModel, KeepsAReelThatTheTrashRefuses) {
    putReel(root_ / "d/1", "Stays");
    Library& library = open();
    fs::remove_all(home_ / "data");
    ASSERT_TRUE(writeFile(home_ / "data", "no folder"));
    library.trash(folder("d/1"));
    ASSERT_TRUE(handleUntil([&] { return !toasts_.empty(); }));
    EXPECT_EQ(lastToast(), "The Trash can’t take the reel, so it was left where it is.");
    EXPECT_EQ(names(), (Names{"Stays"}));
    EXPECT_TRUE(Project::load(root_ / "d/1"));
}

// Many reels of one name, and a name that is as long as names can be.
TEST_F(LibraryModel, FindsANameInTheTrash) {
    const std::string longest(255, 'x');
    std::set<fs::path> places;
    for (const std::string& name : {std::string("1"), longest})
        for (const char* day : {"a", "b", "c"}) {
            putReel(root_ / day / name);
            const auto inTrash = moveToTrash(root_ / day / name);
            ASSERT_TRUE(inTrash) << inTrash.error().message;
            places.insert(*inTrash);
            EXPECT_TRUE(
                fs::exists(home_ / "data/Trash/info" / (inTrash->filename().string() + ".trashinfo")));
        }
    EXPECT_EQ(places.size(), 6U);
}

TEST_F(LibraryModel, TrashesFromAnotherFileSystemToo) {
    const test::SmallDisk disk("size=8m");
    if (!disk.isMounted()) GTEST_SKIP() << "A small file system can only be mounted by root.";
    const Project project = putReel(disk.path() / "library/d é/1");
    const auto inTrash = moveToTrash(project.folder());
    ASSERT_TRUE(inTrash) << inTrash.error().message;
    EXPECT_TRUE(inTrash->native().starts_with(disk.path().native())) << "it did not leave its disk";
    const auto info = readFile(inTrash->parent_path().parent_path() / "info/1.trashinfo", 1000);
    EXPECT_NE(info->find("\nPath=library/d%20%C3%A9/1\nDeletionDate=20"), std::string::npos) << *info;
    EXPECT_FALSE(fs::exists(project.folder()));
    EXPECT_TRUE(fs::exists(*inTrash / "project.json"));
    ASSERT_TRUE(restoreFromTrash(*inTrash, project.folder()));
    EXPECT_TRUE(Project::load(project.folder()));
}

// Whenever the process is killed, the whole reel is in one place.
TEST_F(LibraryModel, LosesNothingWhenItIsKilledWhileTrashing) {
    std::mt19937 random(9);
    for (int round = 0; round < 40; ++round) {
        const Project project = putReel(root_ / "d" / std::to_string(round));
        const pid_t child = ::fork();
        if (child == 0) {
            const auto inTrash = moveToTrash(project.folder());
            ::_exit(inTrash && restoreFromTrash(*inTrash, project.folder()) ? 0 : 1);
        }
        ::usleep(std::uniform_int_distribution<useconds_t>(0, 4000)(random));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        const fs::path inTrash = home_ / "data/Trash/files" / std::to_string(round);
        EXPECT_NE(Project::load(project.folder()).has_value(), Project::load(inTrash).has_value()) << round;
    }
}

TEST_F(LibraryModel, PutsAReelBackAlthoughItQuitsRightAfterwards) {
    putReel(root_ / "d/1", "One");
    Library& library = open();
    library.trash(folder("d/1"));
    ASSERT_TRUE(handleUntil([&] { return !toasts_.empty(); }));
    toasts_.back().run();
    library_.reset();
    EXPECT_TRUE(Project::load(root_ / "d/1"));
}

} // namespace
} // namespace glintro
