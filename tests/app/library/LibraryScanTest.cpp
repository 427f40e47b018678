#include <algorithm>
#include <atomic>
#include <map>
#include <random>

#include <gtest/gtest.h>

#include "app/library/LibraryScan.h"
#include "app/library/ReelImport.h"
#include "core/reel/TakeJournal.h"
#include "tests/app/library/LibraryReels.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using Access = LibraryListing::Access;
using test::putReel;

std::vector<std::string> foldersOf(const std::vector<ListedReel>& reels, const fs::path& root) {
    std::vector<std::string> folders;
    for (const ListedReel& reel : reels)
        folders.push_back(reel.project.folder().lexically_relative(root).string());
    return folders;
}

std::vector<std::string> names(const std::vector<fs::path>& folders, const fs::path& root) {
    std::vector<std::string> names;
    for (const fs::path& folder : folders) names.push_back(folder.lexically_relative(root).string());
    std::ranges::sort(names);
    return names;
}

using Names = std::vector<std::string>;

TEST(LibraryScan, FindsReelsInTheRootAndOneLevelBelow) {
    const TemporaryFolder library;
    putReel(library / "2026-01-01/10.00.00", "a", 100);
    putReel(library / "2026-01-01/10.00.00-2", "b", 100);
    putReel(library / "my own reel 🎬\nline", "c", 300);
    putReel(library / "2025-12-31/09.00.00", "d", 50);
    putReel(library / "one/two/three", "too deep");
    putReel(library / "my own reel 🎬\nline/inside", "inside a reel");
    ASSERT_TRUE(writeFile(library / "notes.txt", "x"));
    fs::create_directories(library / "Exports/old");
    const auto listing = scanLibrary(library.path());
    EXPECT_EQ(listing.access, Access::readable);
    EXPECT_TRUE(listing.isComplete);
    EXPECT_EQ(foldersOf(listing.content.reels, library.path()),
              (Names{"my own reel 🎬\nline", "2026-01-01/10.00.00-2", "2026-01-01/10.00.00",
                     "2025-12-31/09.00.00"}));
    EXPECT_TRUE(listing.content.damaged.empty());
}

TEST(LibraryScan, TellsDamagedInterruptedRunningAndAbandonedApart) {
    const TemporaryFolder library;
    const fs::path day = library / "2026-01-01";
    putReel(day / "fine");
    fs::remove(putReel(day / "without project").infoURL());
    ASSERT_TRUE(writeFile(putReel(day / "broken").infoURL(), "{"));
    putReel(day / "half finished");
    fs::create_directories(day / "journal only");
    fs::create_directories(day / "running");
    for (const char* name : {"half finished", "journal only"})
        ASSERT_TRUE(writeFile(TakeJournal::fileIn(day / name), "glintro-take 1\n"));
    const auto running = TakeJournal::create(day / "running");
    ASSERT_TRUE(running);
    ASSERT_TRUE(writeFile(day / "running/raw.mov", ""));
    fs::create_directories(day / ".importing-abc");
    ASSERT_TRUE(writeFile(day / ".importing-abc/raw.mov", "half"));

    const FolderContent content = scanLibrary(library.path()).content;
    EXPECT_EQ(foldersOf(content.reels, day), (Names{"half finished", "fine"}));
    EXPECT_EQ(names(content.damaged, day), (Names{"broken", "without project"}));
    EXPECT_EQ(names(content.interrupted, day), (Names{"half finished", "journal only"}));
    EXPECT_EQ(names(content.abandonedImports, day), (Names{".importing-abc"}));
    EXPECT_EQ(names(content.others, day), (Names{".", "running"}));

    removeAbandonedImport(day / ".importing-abc");
    removeAbandonedImport(day / "fine");
    EXPECT_TRUE(fs::exists(day / "fine"));
    EXPECT_FALSE(fs::exists(day / ".importing-abc"));
}

TEST(LibraryScan, IsNotLedAstrayByWhatIsNoLibrary) {
    const TemporaryFolder home;
    ASSERT_TRUE(writeFile(home / "file", ""));
    EXPECT_EQ(scanLibrary(home / "missing").access, Access::missing);
    const auto file = scanLibrary(home / "file");
    EXPECT_EQ(file.access, Access::unreadable);
    EXPECT_EQ(file.nativeCode, ENOTDIR);
    fs::create_symlink("loop", home / "loop");
    EXPECT_EQ(scanLibrary(home / "loop").access, Access::unreadable);
    EXPECT_TRUE(scanLibrary("").content.reels.empty());
}

// What a link leads to is listed once, wherever the link leads.
TEST(LibraryScan, FollowsLinksButNotInCircles) {
    const TemporaryFolder home;
    const fs::path root = home / "library";
    putReel(root / "reel", "a", 3);
    putReel(root / "day/reel", "b", 2);
    putReel(home / "elsewhere/reel", "c", 1);
    for (const auto& [link, target] : std::map<std::string, std::string>{{"itself", "itself"},
                                                                         {"root", "."},
                                                                         {"up", ".."},
                                                                         {"again", "day"},
                                                                         {"day/again", "reel"},
                                                                         {"day/root", ".."},
                                                                         {"nowhere", "gone"},
                                                                         {"other", "../elsewhere"}})
        fs::create_directory_symlink(target, root / link);
    EXPECT_EQ(foldersOf(scanLibrary(root).content.reels, root), (Names{"reel", "day/reel", "other/reel"}));
}

TEST(LibraryScan, KnowsImportsByTheirEvents) {
    const TemporaryFolder library;
    ASSERT_TRUE(writeEvents({}, putReel(library / "imported", "", 3).eventsURL()));
    ASSERT_TRUE(writeEvents({.duration = 4}, putReel(library / "still", "", 2).eventsURL()));
    putReel(library / "without", "", 1);
    std::vector<bool> imported;
    for (const ListedReel& reel : scanLibrary(library.path()).content.reels)
        imported.push_back(reel.isImported);
    EXPECT_EQ(imported, (std::vector<bool>{true, false, false}));
}

TEST(LibraryScan, ShowsTheLatestFirstAndCanBeStopped) {
    const TemporaryFolder library;
    for (int i = 0; i < 200; ++i)
        putReel(library / ("2026-01-" + std::to_string(10 + i / 10)) / std::to_string(100 + i), "", i);
    std::vector<LibraryListing> first;
    std::atomic<int> steps = 0; // any of the scan's threads counts
    const auto all = scanLibrary(
        library.path(),
        {.first = [&](LibraryListing some) { first.push_back(some); }, .progressed = [&] { ++steps; }});
    ASSERT_EQ(first.size(), 1U);
    EXPECT_FALSE(first[0].isComplete);
    const auto some = foldersOf(first[0].content.reels, library.path());
    auto latest = foldersOf(all.content.reels, library.path());
    EXPECT_EQ(latest.size(), 200U);
    EXPECT_GT(steps, 4);
    ASSERT_LT(some.size(), latest.size());
    latest.resize(some.size());
    EXPECT_EQ(some, latest);

    std::stop_source stop;
    const auto stopped =
        scanLibrary(library.path(), {.stop = stop.get_token(), .progressed = [&] { stop.request_stop(); }});
    EXPECT_FALSE(stopped.isComplete);
    EXPECT_LT(stopped.content.reels.size(), 200U);
}

// However many threads, and entry by entry: the same.
TEST(LibraryScan, FindsTheSameInEveryWay) {
    std::mt19937 random(7);
    const auto pick = [&](int count) { return std::uniform_int_distribution(0, count - 1)(random); };
    for (int round = 0; round < 8; ++round) {
        const TemporaryFolder library;
        for (int i = 0; i < 60; ++i) {
            const std::string name = std::to_string(pick(1000));
            const fs::path folder =
                library / (pick(4) == 0 ? name : "day" + std::to_string(pick(5)) + "/" + name);
            const Project reel = putReel(folder, name, pick(20));
            if (pick(6) == 0) fs::remove(reel.infoURL());
            if (pick(6) == 0) fs::remove(reel.rawURL());
        }
        const auto one = scanLibrary(library.path(), {.threads = 1}).content;
        const auto four = scanLibrary(library.path(), {.threads = 4}).content;
        FolderContent pieces;
        for (const auto& entry : fs::directory_iterator(library.path())) {
            const auto piece = scanEntry(library.path(), entry.path());
            pieces.reels.insert(pieces.reels.end(), piece.reels.begin(), piece.reels.end());
            pieces.damaged.insert(pieces.damaged.end(), piece.damaged.begin(), piece.damaged.end());
            pieces.others.insert(pieces.others.end(), piece.others.begin(), piece.others.end());
        }
        std::ranges::sort(pieces.reels, [](const ListedReel& a, const ListedReel& b) {
            return isListedBefore(a.project, b.project);
        });
        for (const FolderContent* other : {&four, &std::as_const(pieces)}) {
            EXPECT_EQ(foldersOf(other->reels, library.path()), foldersOf(one.reels, library.path()));
            EXPECT_EQ(names(other->damaged, library.path()), names(one.damaged, library.path()));
            EXPECT_EQ(names(other->others, library.path()), names(one.others, library.path()));
        }
    }
}

} // namespace
} // namespace glintro
