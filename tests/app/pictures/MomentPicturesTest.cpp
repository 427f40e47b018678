#include <random>
#include <set>

#include <gtest/gtest.h>

#include "app/pictures/MomentPictures.h"
#include "app/pictures/Moments.h"
#include "tests/support/EventLoop.h"
#include "tests/support/Reels.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

using std::chrono::milliseconds;
using test::handleFor;
using test::handleUntil;
using test::makeReel;

TEST(Moments, StandForShotsAndForTheStrip) {
    const auto moment = [](Seconds start, Seconds end) {
        return cardMoment(Shot{.number = 1, .start = start, .end = end});
    };
    EXPECT_DOUBLE_EQ(moment(10, 14), 12);      // the middle
    EXPECT_DOUBLE_EQ(moment(10, 11), 10.8);    // a short shot, past its first zoom
    EXPECT_DOUBLE_EQ(moment(10, 10.5), 10.45); // a shorter one: never the last frame
    EXPECT_EQ(stripMoments(3.5), (std::vector<Seconds>{0, 1, 2, 3}));
    EXPECT_EQ(stripMoments(3), (std::vector<Seconds>{0, 1, 2}));
    EXPECT_TRUE(stripMoments(0).empty());
    for (const Seconds duration : {12.0, 13.7, 61.3, 3599.9}) {
        const auto strip = stripMoments(duration);
        EXPECT_EQ(strip.size(), 12U) << duration;
        EXPECT_LT(strip.back(), duration);
    }
    EXPECT_EQ(momentKey(1.24), 4);
    EXPECT_EQ(momentKey(1.25), 5);
    EXPECT_EQ(momentKey(-1), 0);
    EXPECT_GT(momentKey(1e300), 0);
}

class MomentPicturesTest : public testing::Test {
  protected:
    MomentPicturesTest() { test::application(); }

    static bool shows(const MomentPictures& pictures, Seconds time) {
        const QImage picture = pictures.picture(momentKey(time));
        // A nearby frame, by its number.
        return !picture.isNull() && std::abs(picture.pixelColor(20, 20).red() - time * 30) <= 6;
    }

    // Eight seconds; the red of a frame tells its number.
    TemporaryFolder folder;
    std::optional<Project> reel = makeReel(folder / "reel", {.frames = 240, .colour = [](int frame) {
                                                                 return test::Rgb{frame, 100, 60};
                                                             }});
};

TEST_F(MomentPicturesTest, EveryMomentIsMadeOnceAndInTheOrderAskedFor) {
    MomentPictures pictures(*reel);
    std::vector<int> order;
    QObject::connect(&pictures, &MomentPictures::pictureReady, [&](int key) { order.push_back(key); });
    pictures.request({5.0, 1.0, 5.1, 1.1, 3.0}); // two pairs share a quarter second
    ASSERT_TRUE(handleUntil([&] { return order.size() == 3; }));
    pictures.request({3.0, 1.0, 6.0});
    ASSERT_TRUE(handleUntil([&] { return order.size() == 4; }));
    handleFor(milliseconds(50));
    EXPECT_EQ(order, (std::vector<int>{20, 4, 12, 24}));
    for (const Seconds time : {5.0, 1.0, 3.0, 6.0}) EXPECT_TRUE(shows(pictures, time)) << time;
    EXPECT_EQ(pictures.picture(20).size(), QSize(240, 150));
}

// Edges are dragged: what is wanted changes faster than pictures are made.
TEST_F(MomentPicturesTest, TheNewestSetWinsAndEveryPictureIsRight) {
    std::mt19937 random(5);
    MomentPictures pictures(*reel);
    std::multiset<int> made;
    QObject::connect(&pictures, &MomentPictures::pictureReady, [&](int key) { made.insert(key); });
    int failed = 0;
    QObject::connect(&pictures, &MomentPictures::pictureFailed, [&] { ++failed; });
    std::vector<Seconds> wanted;
    for (int step = 0; step < 200; ++step) {
        wanted.clear();
        for (int i = 0; i < 6; ++i) wanted.push_back(0.25 * static_cast<int>(random() % 30) + 0.1);
        pictures.request(wanted);
        handleFor(milliseconds(random() % 4));
    }
    const auto isThere = [&](Seconds time) { return !pictures.picture(momentKey(time)).isNull(); };
    ASSERT_TRUE(handleUntil([&] { return std::ranges::all_of(wanted, isThere); }));
    handleFor(milliseconds(50));
    EXPECT_EQ(failed, 0); // being superseded is no failure
    for (int key = 0; key < 30; ++key) {
        EXPECT_LE(made.count(key), 1U) << key;
        EXPECT_TRUE(pictures.picture(key).isNull() || shows(pictures, key * 0.25 + 0.1)) << key;
    }
}

TEST_F(MomentPicturesTest, KeepsWithinItsMemoryAndPrefersWhatIsWanted) {
    const qsizetype one = 240 * 150 * 4;
    MomentPictures pictures(*reel, 4 * one);
    const auto count = [&] { return static_cast<int>(pictures.pictures().size()); };
    pictures.request({0.5, 1.5, 2.5, 3.5});
    ASSERT_TRUE(handleUntil([&] { return count() == 4; }));
    pictures.request({2.5, 4.5, 5.5});
    ASSERT_TRUE(handleUntil([&] { return shows(pictures, 4.5) && shows(pictures, 5.5); }));
    EXPECT_TRUE(shows(pictures, 2.5));
    EXPECT_EQ(count(), 4);
    pictures.request({0.1, 1.1, 2.1, 3.1, 4.1, 5.1, 6.1}); // more than there is room for
    ASSERT_TRUE(handleUntil([&] { return shows(pictures, 3.1); }));
    handleFor(milliseconds(100));
    EXPECT_EQ(count(), 4);
}

TEST_F(MomentPicturesTest, AMissingRecordingFailsOnceForEachMomentOfARequest) {
    std::filesystem::rename(reel->rawURL(), folder / "away.mov");
    MomentPictures pictures(*reel);
    std::vector<int> failed;
    QObject::connect(&pictures, &MomentPictures::pictureFailed, [&](int key) { failed.push_back(key); });
    pictures.request({1, 2, 3});
    ASSERT_TRUE(handleUntil([&] { return failed.size() == 3; }));
    handleFor(milliseconds(50));
    EXPECT_EQ(failed, (std::vector<int>{4, 8, 12}));
    std::filesystem::rename(folder / "away.mov", reel->rawURL());
    pictures.request({1, 2});
    EXPECT_TRUE(handleUntil([&] { return shows(pictures, 1) && shows(pictures, 2); }));
}

} // namespace
} // namespace glintro
