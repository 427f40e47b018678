#include <algorithm>
#include <chrono>
#include <random>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "app/pictures/PictureCache.h"
#include "core/base/FileIO.h"
#include "tests/app/pictures/CachePictures.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/EventLoop.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using test::isPictureOf;
using test::keyOf;
using test::pictureOf;

class PictureCacheTest : public testing::Test {
  protected:
    PictureCacheTest() { test::application(); }

    std::vector<fs::path> files() const {
        std::vector<fs::path> found;
        for (const auto& entry : fs::directory_iterator(cacheFolder)) found.push_back(entry.path());
        return found;
    }
    std::uint64_t bytes() const {
        std::uint64_t sum = 0;
        for (const fs::path& file : files()) sum += fs::file_size(file);
        return sum;
    }
    std::string content() const { return *readFile(files().at(0), 1 << 24); }

    TemporaryFolder folder;
    fs::path cacheFolder = folder / "cache" / "glintro" / "pictures";
    PictureCache cache{cacheFolder};
};

TEST_F(PictureCacheTest, KeepsWhatItIsGivenForItsUserAlone) {
    cache.store(keyOf(1, 1), {pictureOf(1), pictureOf(2)});
    const auto stored = PictureCache(cacheFolder).load(keyOf(1, 1));
    ASSERT_TRUE(stored);
    ASSERT_EQ(stored->size(), 2);
    EXPECT_TRUE(isPictureOf(stored->at(0), 1));
    EXPECT_TRUE(isPictureOf(stored->at(1), 2));
    EXPECT_FALSE(cache.load(keyOf(1, 2))); // the reel shows something else by now
    EXPECT_FALSE(cache.load(keyOf(2, 1)));

    cache.store(keyOf(1, 2), {pictureOf(2)}); // one file for each subject
    EXPECT_EQ(files().size(), 1U);
    EXPECT_FALSE(cache.load(keyOf(1, 1)));

    using fs::perms;
    EXPECT_EQ(fs::status(files()[0]).permissions(), perms::owner_read | perms::owner_write);
    for (const fs::path& made : {cacheFolder, cacheFolder.parent_path(), folder / "cache"})
        EXPECT_EQ(fs::status(made).permissions(), perms::owner_all) << made;
}

TEST_F(PictureCacheTest, FollowsTheRulesForCacheFolders) {
    const test::ScopedEnvironment home("HOME", "/home/someone");
    const auto folderFor = [](const std::optional<std::string>& variable) {
        const test::ScopedEnvironment cacheHome("XDG_CACHE_HOME", variable);
        return PictureCache::standardFolder();
    };
    EXPECT_EQ(folderFor("/other/cache"), "/other/cache/glintro/pictures");
    for (const auto& unusable : {std::optional<std::string>(), std::optional<std::string>("relative")})
        EXPECT_EQ(folderFor(unusable), "/home/someone/.cache/glintro/pictures");
}

TEST_F(PictureCacheTest, AnythingButItsOwnWholeFileIsAMiss) {
    cache.store(keyOf(1, 1), {pictureOf(1)});
    const std::string whole = content();
    const fs::path file = files()[0];
    cache.store(keyOf(2, 1), {pictureOf(1)});

    std::vector<std::string> damaged{"", "no picture", std::string(100'000, '\0'), whole + "x"};
    std::mt19937 random(1);
    for (int i = 0; i < 100; ++i) {
        damaged.push_back(whole.substr(0, random() % whole.size()));
        std::string flipped = whole;
        flipped[random() % whole.size()] ^= static_cast<char>(1 << random() % 8);
        damaged.push_back(flipped);
    }
    for (const std::string& bytes : damaged) {
        ASSERT_TRUE(writeFile(file, bytes));
        ASSERT_FALSE(cache.load(keyOf(1, 1))) << bytes.size();
    }
    ASSERT_TRUE(writeFile(file, *readFile(files()[0] == file ? files()[1] : files()[0], 1 << 24)));
    EXPECT_FALSE(cache.load(keyOf(1, 1))) << "the file of another reel";

    cache.store(keyOf(1, 1), {pictureOf(1)});
    EXPECT_TRUE(cache.load(keyOf(1, 1)));

    fs::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0); // must not block
    EXPECT_FALSE(cache.load(keyOf(1, 1)));
    cache.store(keyOf(1, 1), {pictureOf(1)});
    fs::remove(file);
    fs::create_directories(file / "in the way");
    EXPECT_FALSE(cache.load(keyOf(1, 1)));
    cache.store(keyOf(1, 1), {pictureOf(1)});
    EXPECT_TRUE(fs::exists(file / "in the way"));
}

TEST_F(PictureCacheTest, WhereNothingCanBeWrittenThereIsNoCache) {
    ASSERT_TRUE(writeFile(folder / "file", "in the way"));
    for (const fs::path& unusable :
         {fs::path(), folder / "file", folder / "file" / "below", fs::path("/proc/x")}) {
        PictureCache none(unusable);
        none.store(keyOf(1, 1), {pictureOf(1)});
        EXPECT_FALSE(none.load(keyOf(1, 1))) << unusable;
    }
    cache.store({"subject", ""}, {pictureOf(1)}); // a key that says not to
    cache.store(keyOf(1, 1), {});
    cache.store(keyOf(1, 1), {QImage()});
    EXPECT_FALSE(fs::exists(cacheFolder));
}

TEST_F(PictureCacheTest, StaysWithinItsLimitWhoeverWrites) {
    cache.store(keyOf(0, 0), {pictureOf(0)});
    const std::uint64_t limit = 20 * bytes();
    ASSERT_TRUE(writeFile(cacheFolder / "notes.txt", "not ours"));
    PictureCache first(cacheFolder, limit);
    PictureCache second(cacheFolder, limit); // as another process would have it
    for (int i = 1; i < 60; ++i) {
        (i % 3 == 0 ? first : second).store(keyOf(i, 0), {pictureOf(0)});
        ASSERT_LE(bytes(), limit + limit / 8);
        ASSERT_TRUE(first.load(keyOf(i, 0)));
    }
    EXPECT_GE(bytes(), limit / 2);
    EXPECT_TRUE(fs::exists(cacheFolder / "notes.txt"));
}

TEST_F(PictureCacheTest, RemovesTheLongestUnusedAndKeepsWhatIsInUse) {
    for (int i = 0; i < 10; ++i) cache.store(keyOf(i, 0), {pictureOf(0)});
    for (const fs::path& file : files())
        fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::hours(100));
    for (const int inUse : {1, 4, 7}) ASSERT_TRUE(cache.load(keyOf(inUse, 0)));
    PictureCache small(cacheFolder, bytes() / 2);
    small.store(keyOf(10, 0), {pictureOf(0)});
    for (const int kept : {1, 4, 7, 10}) EXPECT_TRUE(small.load(keyOf(kept, 0))) << kept;
    EXPECT_EQ(files().size(), 4U);
}

// A reader beside two writers that are killed at any moment sees whole pictures or none.
TEST_F(PictureCacheTest, ProcessesShareItAndMayDieAtAnyMoment) {
    const auto changed = [&] {
        std::error_code missing;
        return fs::last_write_time(cacheFolder, missing);
    };
    std::mt19937 random(7);
    int found = 0;
    for (int round = 0; round < 25; ++round) {
        test::ChildProcess one({GLINTRO_CACHE_WRITER, cacheFolder.string()});
        test::ChildProcess other({GLINTRO_CACHE_WRITER, cacheFolder.string()});
        ASSERT_TRUE(test::waitUntil([&, before = changed()] { return changed() != before; })); // they write
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(random() % 100);
        while (std::chrono::steady_clock::now() < end) {
            const int content = static_cast<int>(random() % 3);
            const auto pictures = cache.load(keyOf(static_cast<int>(random() % 4), content));
            if (!pictures) continue;
            ++found;
            ASSERT_TRUE(isPictureOf(pictures->at(0), content));
        }
    }
    EXPECT_GT(found, 0);
    ASSERT_TRUE(
        writeFile(cacheFolder / ".killed.partial.pictures", "half a pic")); // if none happens to be there
    const auto isPartial = [](const fs::path& file) { return file.filename().string().starts_with('.'); };
    for (const fs::path& file : files())
        if (isPartial(file))
            fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::hours(2));
    PictureCache(cacheFolder).store(keyOf(9, 9), {pictureOf(9)}); // tidies up
    EXPECT_EQ(std::ranges::count_if(files(), isPartial), 0);
    EXPECT_LE(files().size(), 5U);
}

} // namespace
} // namespace glintro
