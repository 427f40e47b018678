#include <cmath>
#include <csignal>
#include <random>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "app/library/FileCopy.h"
#include "app/library/LibraryScan.h"
#include "app/library/ReelImport.h"
#include "core/media/decode/MovieReader.h"
#include "tests/app/library/LibraryReels.h"
#include "tests/support/Reels.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using test::allBelow;

const Timestamp kNow = parseTimestamp("2026-11-22T12:00:00Z").value();

class ReelImporting : public ::testing::Test {
  protected:
    Result<Project> import(const fs::path& file, const std::stop_token& stop = {}) {
        return importMovie(
            {.file = file,
             .library = library_,
             .defaults = {.aspect = AspectRatio::square},
             .created = kNow,
             .progress = [this](const ImportProgress& progress) { progress_.push_back(progress); },
             .stop = stop});
    }
    bool libraryIsUntouched() const { return !fs::exists(home_ / "not"); }

    TemporaryFolder home_;
    LibraryFolder library_ = LibraryFolder(home_ / "not/yet there");
    std::vector<ImportProgress> progress_;
};

TEST_F(ReelImporting, MakesAReelOfAMovie) {
    const fs::path file = home_ / "Démo 🎬 import take 2.mov";
    std::vector<float> tone(48000);
    for (std::size_t i = 0; i < tone.size(); ++i) tone[i] = std::sin(static_cast<float>(i) * 0.05F);
    test::writeMovie(file, {.grain = true, .sound = tone});
    const auto reel = import(file);
    ASSERT_TRUE(reel) << reel.error().message;
    EXPECT_EQ(reel->folder().parent_path().parent_path(), library_.root());
    const auto listed = scanLibrary(library_.root()).content;
    ASSERT_EQ(listed.reels.size(), 1U);
    EXPECT_TRUE(listed.reels[0].isImported);
    EXPECT_EQ(listed.reels[0].project.info, reel->info);
    EXPECT_EQ(reel->info.name, "Démo 🎬 import take 2");
    EXPECT_EQ(reel->info.created, kNow);
    EXPECT_EQ(reel->info.settings.aspect, AspectRatio::square);
    EXPECT_TRUE(reel->info.hasAudio);
    EXPECT_FALSE(reel->info.hasCamera);
    EXPECT_EQ(reel->loadEvents(), RecordingEvents());
    EXPECT_EQ(readFile(reel->rawURL(), 1U << 30), readFile(file, 1U << 30));
    ASSERT_GE(progress_.size(), 2U);
    EXPECT_EQ(progress_.front().done, 0U);
    EXPECT_EQ(progress_.back().done, fs::file_size(file));
    EXPECT_EQ(progress_.back().total, fs::file_size(file));

    const auto again = import(file);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->folder(), reel->folder().string() + "-2");
    EXPECT_EQ(allBelow(library_.root()).size(), 9U) << "two reels of three files each, and their day";
}

TEST_F(ReelImporting, RefusesWhatIsNoVideoInOneSentence) {
    fs::create_directory(home_ / "folder.mov");
    ASSERT_TRUE(writeFile(home_ / "empty.mov", ""));
    ASSERT_TRUE(writeFile(home_ / "text.mov", "This is no movie.\n"));
    test::writeMovie(home_ / "cut off.mov", {.grain = true});
    fs::resize_file(home_ / "cut off.mov", fs::file_size(home_ / "cut off.mov") / 2);
    ASSERT_EQ(::mkfifo((home_ / "pipe.mov").c_str(), 0600), 0);
    for (const char* name : {"folder.mov", "empty.mov", "text.mov", "cut off.mov", "pipe.mov"}) {
        const auto reel = import(home_ / name);
        ASSERT_FALSE(reel) << name;
        EXPECT_EQ(reel.error().message, "“" + std::string(name) + "” isn’t a video Glintro can open");
    }
    const auto missing = import(home_ / "missing.mov");
    EXPECT_EQ(missing.error().message, "There is no file “" + (home_ / "missing.mov").string() + "”.");
    EXPECT_TRUE(libraryIsUntouched());
}

TEST_F(ReelImporting, RefusesAFileThatIsStillBeingWritten) {
    const fs::path file = home_ / "growing.mov";
    test::writeMovie(file, {});
    {
        const FileDescriptor writer(::open(file.c_str(), O_WRONLY | O_APPEND));
        const auto reel = import(file);
        ASSERT_FALSE(reel);
        EXPECT_EQ(reel.error().message,
                  "“growing.mov” is still being written. Import it when it is finished.");
    }
    EXPECT_TRUE(libraryIsUntouched());
    EXPECT_TRUE(import(file));
}

// A writer that opens the file for a moment only, while it is copied.
TEST_F(ReelImporting, NoticesAChangeWhileItCopies) {
    const fs::path file = home_ / "changed.mov";
    test::writeMovie(file, {});
    const auto reel = importMovie(
        {.file = file, .library = library_, .created = kNow, .progress = [&](const ImportProgress&) {
             const FileDescriptor writer(::open(file.c_str(), O_WRONLY | O_APPEND));
             EXPECT_EQ(writeAll(writer, "more"), 0);
         }});
    ASSERT_FALSE(reel);
    EXPECT_NE(reel.error().message.find("is still being written"), std::string::npos);
    EXPECT_TRUE(libraryIsUntouched());
}

TEST_F(ReelImporting, LeavesNothingWhenItIsStopped) {
    test::writeMovie(home_ / "a.mov", {});
    for (const bool early : {true, false}) {
        std::stop_source stop;
        if (early) stop.request_stop();
        const auto reel = importMovie({.file = home_ / "a.mov",
                                       .library = library_,
                                       .created = kNow,
                                       .progress = [&](const ImportProgress&) { stop.request_stop(); },
                                       .stop = stop.get_token()});
        ASSERT_FALSE(reel);
        EXPECT_TRUE(reel.error().isCancelled());
        EXPECT_TRUE(libraryIsUntouched());
    }
}

TEST_F(ReelImporting, SaysThatTheDiskIsFullAndLeavesNothing) {
    const test::SmallDisk disk("size=1m");
    if (!disk.isMounted()) GTEST_SKIP() << "A small file system can only be mounted by root.";
    test::writeMovie(home_ / "large.mov", {.size = {640, 400}, .frames = 90, .grain = true});
    ASSERT_GT(fs::file_size(home_ / "large.mov"), 1'100'000U);
    library_ = LibraryFolder(disk.path() / "library");
    const auto large = import(home_ / "large.mov");
    ASSERT_FALSE(large);
    EXPECT_EQ(large.error().message, "“large.mov” can’t be imported: the disk of the library is full.");
    EXPECT_TRUE(allBelow(disk.path()).empty());

    // Room for the movie, but not for what stands beside it.
    test::writeMovie(home_ / "small.mov", {});
    ASSERT_TRUE(writeFile(
        disk.path() / "filler",
        std::string((1U << 20) - 4096 - (fs::file_size(home_ / "small.mov") / 4096 + 1) * 4096, 'x')));
    const auto small = import(home_ / "small.mov");
    ASSERT_FALSE(small);
    EXPECT_EQ(small.error().message, "“small.mov” can’t be imported: the disk of the library is full.");
    EXPECT_EQ(allBelow(disk.path()), std::vector<std::string>{"filler"});
}

// Whenever the process is killed, there is a whole reel, or nothing that a scan would list; and what is left
// is removed.
TEST_F(ReelImporting, IsAllOrNothingWhenItIsKilled) {
    const fs::path file = home_ / "a.mov";
    test::writeMovie(file, {.size = {640, 400}, .frames = 60, .grain = true});
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(import(file));
    const auto usual =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
    fs::remove_all(library_.root());
    std::mt19937 random(5);
    int whole = 0;
    int nothing = 0;
    for (int round = 0; round < 40; ++round) {
        const pid_t child = ::fork();
        if (child == 0) ::_exit(importMovie({.file = file, .library = library_, .created = kNow}) ? 0 : 1);
        ::usleep(
            std::uniform_int_distribution<useconds_t>(0, static_cast<useconds_t>(usual.count() * 3))(random));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        const FolderContent content = scanLibrary(library_.root()).content;
        EXPECT_TRUE(content.damaged.empty());
        EXPECT_TRUE(content.interrupted.empty());
        for (const ListedReel& reel : content.reels) {
            EXPECT_EQ(fs::file_size(reel.project.rawURL()), fs::file_size(file));
            EXPECT_TRUE(MovieReader::open(reel.project.rawURL(), MovieReader::Access::single));
        }
        ++(content.reels.empty() ? nothing : whole);
        for (const fs::path& folder : content.abandonedImports) removeAbandonedImport(folder);
        for (const ListedReel& reel : content.reels) fs::remove_all(reel.project.folder());
        for (const std::string& name : allBelow(library_.root()))
            EXPECT_TRUE(fs::is_empty(library_.root() / name) || name.find('/') == std::string::npos) << name;
        fs::remove_all(library_.root());
    }
    EXPECT_GT(nothing, 0);
    EXPECT_GT(whole, 0);
}

TEST(FileCopy, CopiesBetweenFileSystems) {
    const TemporaryFolder here;
    const test::SmallDisk there("size=40m");
    if (!there.isMounted()) GTEST_SKIP() << "A small file system can only be mounted by root.";
    for (const std::size_t size : {0UL, 1UL, (4UL << 20) + 1, 9UL << 20}) {
        std::string bytes(size, '\0');
        for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 2654435761U >> 24);
        ASSERT_TRUE(writeFile(here / "from", bytes));
        const auto from = openRegularFile(here / "from");
        const FileDescriptor to(::open((there.path() / "to").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600));
        std::uint64_t last = 0;
        ASSERT_EQ(copyToDisk(*from, to,
                             {.progress =
                                  [&](std::uint64_t done, std::uint64_t) {
                                      EXPECT_GE(done, last);
                                      last = done;
                                  }}),
                  0);
        EXPECT_EQ(last, size);
        EXPECT_TRUE(readFile(there.path() / "to", 1U << 30) == bytes);
    }
}

} // namespace
} // namespace glintro
