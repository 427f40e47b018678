#include <atomic>
#include <fstream>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include "app/library/FolderWatch.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

constexpr int kCannotLimit = 77;

// In a process of its own, for which the system allows a few watches only: an exit status.
int watchMoreThanAllowed(const fs::path& root) {
    if (::unshare(CLONE_NEWUSER) != 0) return kCannotLimit;
    std::ofstream limit("/proc/sys/user/max_inotify_watches");
    if (!(limit << 5 << std::flush)) return kCannotLimit;
    FolderWatch watch(root, [](const LibraryChanges&) {});
    if (!test::waitUntil([&] { return watch.isComplete(); })) return 1;
    std::vector<fs::path> folders;
    for (int i = 0; i < 20; ++i) {
        folders.push_back(root / std::to_string(i));
        fs::create_directory(folders.back());
    }
    watch.add(folders, FolderWatch::Clock::now());
    return test::waitUntil([&] { return !watch.isComplete(); }) ? 0 : 2;
}

TEST(FolderWatch, SaysWhenTheSystemCannotWatchAll) {
    const TemporaryFolder root;
    const pid_t child = ::fork();
    if (child == 0) ::_exit(watchMoreThanAllowed(root.path()));
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    if (WEXITSTATUS(status) == kCannotLimit) GTEST_SKIP() << "This process may not limit its watches.";
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(FolderWatch, DoesNotCallATakesGrowthAChange) {
    const TemporaryFolder root;
    fs::create_directories(root / "day/reel");
    std::atomic<int> reports = 0;
    FolderWatch watch(root.path(), [&](const LibraryChanges&) { ++reports; });
    watch.add({root / "day", root / "day/reel"}, FolderWatch::Clock::now() + std::chrono::hours(1));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    std::ofstream movie(root / "day/reel/raw.mov");
    ASSERT_TRUE(test::waitUntil([&] { return reports == 1; }));
    for (int i = 0; i < 20; ++i) {
        movie << std::string(10'000, 'x') << std::flush;
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    EXPECT_EQ(reports, 1);
    movie.close();
    EXPECT_TRUE(test::waitUntil([&] { return reports == 2; }));
}

} // namespace
} // namespace glintro
