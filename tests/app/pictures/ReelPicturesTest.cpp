#include <map>

#include <gtest/gtest.h>

#include "app/base/Images.h"
#include "app/pictures/PictureKeys.h"
#include "app/pictures/ReelPictures.h"
#include "app/pictures/ReelStills.h"
#include "core/base/FileIO.h"
#include "core/render/StillSource.h"
#include "tests/support/EventLoop.h"
#include "tests/support/Reels.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using test::handleFor;
using test::handleUntil;
using test::makeReel;

// Everything that the pictures said, in order.
struct Answers {
    explicit Answers(ReelPictures& pictures) {
        QObject::connect(&pictures, &ReelPictures::cardReady,
                         [this](const QString& folder, const QImage& picture) {
                             EXPECT_EQ(std::this_thread::get_id(), home);
                             order.push_back(folder);
                             cards[folder] = picture;
                         });
        QObject::connect(&pictures, &ReelPictures::scrubReady,
                         [this](const QString& folder, const QList<QImage>& frames) {
                             order.push_back(folder);
                             scrubs[folder] = frames;
                         });
        const auto fail = [this](const QString& folder) { failed.push_back(folder); };
        QObject::connect(&pictures, &ReelPictures::cardFailed, fail);
        QObject::connect(&pictures, &ReelPictures::scrubFailed, fail);
    }
    std::thread::id home = std::this_thread::get_id();
    std::vector<QString> order;
    std::map<QString, QImage> cards;
    std::map<QString, QList<QImage>> scrubs;
    std::vector<QString> failed;
};

class ReelPicturesTest : public testing::Test {
  protected:
    ReelPicturesTest() {
        test::application();
        reel->info.settings.zooms = {{.start = 0.5, .end = 1.5, .scale = 1.8}};
    }

    QImage stillOf(const Project& project) const {
        auto source = StillSource::open(project);
        if (!source) return {};
        const auto still = (*source)->still({.at = 0.35 * project.info.duration, .camera = CameraUse::with},
                                            project.info.settings, 720, nullptr, Framing::fit);
        return still ? toImage(*still) : QImage();
    }
    // Same name, size and time: only a cache can still know what was in it.
    void spoilMovie() const {
        const auto time = fs::last_write_time(reel->rawURL());
        ASSERT_TRUE(writeFile(reel->rawURL(), std::string(fs::file_size(reel->rawURL()), 'x')));
        fs::last_write_time(reel->rawURL(), time);
    }

    TemporaryFolder folder;
    std::shared_ptr<PictureCache> cache = std::make_shared<PictureCache>(folder / "cache");
    std::optional<Project> reel = makeReel(folder / "Démo 🎬\nreel", {}, {}, test::MovieRecipe{});
    QString name = ReelPictures::folderOf(*reel);
};

TEST_F(ReelPicturesTest, ACardIsAStillWithTheReelsOwnSettings) {
    ReelPictures pictures(nullptr, {});
    Answers answers(pictures);
    pictures.requestCard(*reel);
    pictures.requestCard(*reel);
    EXPECT_TRUE(answers.order.empty());
    ASSERT_TRUE(handleUntil([&] { return !answers.order.empty(); }));
    EXPECT_EQ(answers.cards[name], stillOf(*reel));
    EXPECT_EQ(answers.cards[name].width(), 720);
    handleFor(milliseconds(100));
    EXPECT_EQ(answers.order.size(), 1U); // asked twice, made once
}

TEST_F(ReelPicturesTest, ScrubFramesAreSpreadOverTheRecording) {
    // The red of a frame tells its number; key frames are two seconds apart.
    const auto recipe = test::MovieRecipe{.size = {640, 400}, .frames = 240, .colour = [](int frame) {
                                              return test::Rgb{frame, 100, 60};
                                          }};
    const auto longer = makeReel(folder / "longer", recipe);
    ReelPictures pictures(cache, {});
    Answers answers(pictures);
    pictures.requestScrub(*longer);
    ASSERT_TRUE(handleUntil([&] { return !answers.scrubs.empty(); }));
    const QList<QImage> frames = answers.scrubs.begin()->second;
    ASSERT_EQ(frames.size(), 12);
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(frames[i].size(), QSize(480, 300));
        EXPECT_NEAR(frames[i].pixelColor(240, 150).red(), (i + 0.5) * 20, 5) << i;
    }
}

TEST_F(ReelPicturesTest, ASecondStartShowsWhatTheFirstHasMade) {
    {
        ReelPictures pictures(cache, {});
        Answers answers(pictures);
        pictures.requestCard(*reel);
        pictures.requestScrub(*reel);
        ASSERT_TRUE(handleUntil([&] { return answers.order.size() == 2; }));
        // Kept after they were handed out.
        ASSERT_TRUE(
            handleUntil([&] { return cache->load(cardKey(*reel, {})) && cache->load(scrubKey(*reel)); }));
    }
    spoilMovie();
    ReelPictures pictures(std::make_shared<PictureCache>(folder / "cache"), {});
    Answers answers(pictures);
    pictures.requestCard(*reel);
    pictures.requestScrub(*reel);
    ASSERT_TRUE(handleUntil([&] { return answers.order.size() == 2; }));
    EXPECT_EQ(answers.scrubs[name].size(), 12);

    reel->info.settings.padding = 0.2; // shows something else: the cache does not know it
    pictures.requestCard(*reel);
    ASSERT_TRUE(handleUntil([&] { return !answers.failed.empty(); }));
    EXPECT_EQ(answers.order.size(), 2U);
}

TEST_F(ReelPicturesTest, TheNewestSettingsWin) {
    ReelPictures pictures(cache, {});
    Answers answers(pictures);
    for (int i = 0; i <= 20; ++i) {
        reel->info.settings.gradientIndex = i % 14;
        reel->info.settings.padding = 0.01 * i;
        pictures.requestCard(*reel);
        if (i % 5 == 0) handleFor(milliseconds(3));
    }
    const QImage last = stillOf(*reel);
    ASSERT_TRUE(handleUntil([&] { return answers.cards.contains(name) && answers.cards[name] == last; }));
    const std::size_t count = answers.order.size();
    EXPECT_LE(count, 6U);
    handleFor(milliseconds(100));
    EXPECT_EQ(answers.order.size(), count);
    EXPECT_TRUE(answers.failed.empty());
}

TEST_F(ReelPicturesTest, TheLastRequestIsServedFirstAndACancelledOneNever) {
    std::vector<Project> reels;
    for (int i = 0; i < 8; ++i) {
        const fs::path copy = folder / std::to_string(i);
        fs::copy(reel->folder(), copy);
        reels.emplace_back(copy, reel->info);
    }
    ReelPictures pictures(nullptr, {});
    Answers answers(pictures);
    for (const Project& each : reels) pictures.requestCard(each);
    pictures.cancel(ReelPictures::folderOf(reels[5]));
    ASSERT_TRUE(handleUntil([&] { return !answers.order.empty(); }));
    const auto before = static_cast<std::ptrdiff_t>(answers.order.size());
    const std::size_t again = answers.cards.contains(ReelPictures::folderOf(reels[1])) ? 2 : 1;
    pictures.requestCard(reels[again]); // now the most urgent
    ASSERT_TRUE(handleUntil([&] { return answers.order.size() == 7; }));
    handleFor(milliseconds(50));
    EXPECT_EQ(answers.order.size(), 7U);
    EXPECT_FALSE(answers.cards.contains(ReelPictures::folderOf(reels[5])));
    const auto place = [&](std::size_t i) {
        return std::ranges::find(answers.order, ReelPictures::folderOf(reels[i])) - answers.order.begin();
    };
    // The first answer is of whichever was begun before the others were asked for; one more may be underway.
    EXPECT_LE(place(7), 1);
    EXPECT_LE(place(again), before + 2);
    for (const std::size_t i : {4U, 3U}) EXPECT_TRUE(place(i) == 0 || place(i) > place(6)) << i;
}

// An answer that waits in the event queue when the request is replaced or cancelled.
TEST_F(ReelPicturesTest, AnAnswerOnItsWayIsDroppedWhenItIsNoLongerWanted) {
    const auto store = [&] {
        WallpaperMemo none({});
        cache->store(cardKey(*reel, {}), *drawCard(*reel, 720, none, {}));
    };
    store();
    ReelPictures pictures(cache, {});
    Answers answers(pictures);
    pictures.requestCard(*reel);
    std::this_thread::sleep_for(milliseconds(300)); // events are not handled meanwhile
    pictures.cancel(name);
    handleFor(milliseconds(50));
    EXPECT_TRUE(answers.order.empty());

    pictures.requestCard(*reel);
    std::this_thread::sleep_for(milliseconds(300));
    reel->info.settings.padding = 0.2;
    pictures.requestCard(*reel);
    ASSERT_TRUE(handleUntil([&] { return !answers.order.empty(); }));
    handleFor(milliseconds(50));
    EXPECT_EQ(answers.order.size(), 1U);
    EXPECT_EQ(answers.cards[name], stillOf(*reel));
}

TEST_F(ReelPicturesTest, AReelWithoutItsMovieFailsOncePerRequest) {
    const fs::path away = folder / "away.mov";
    fs::rename(reel->rawURL(), away);
    ReelPictures pictures(cache, {});
    Answers answers(pictures);
    pictures.requestCard(*reel);
    pictures.requestScrub(*reel);
    ASSERT_TRUE(handleUntil([&] { return answers.failed.size() == 2; }));
    handleFor(milliseconds(100));
    EXPECT_EQ(answers.failed.size(), 2U);
    fs::rename(away, reel->rawURL());
    pictures.requestCard(*reel);
    EXPECT_TRUE(handleUntil([&] { return answers.cards.contains(name); }));
}

TEST_F(ReelPicturesTest, TheWallpaperIsLoadedOnceForReelsOfOneShape) {
    std::atomic<int> loads = 0;
    const auto load = [&](PixelSize canvas) {
        ++loads;
        auto picture = std::make_shared<BgraImage>(canvas);
        std::ranges::fill(picture->pixels, std::uint8_t{200});
        return std::shared_ptr<const BgraImage>(std::move(picture));
    };
    ReelPictures pictures(nullptr, {load, [] { return "the desktop's"; }});
    Answers answers(pictures);
    reel->info.settings.background = BackgroundKind::wallpaper;
    for (int i = 1; i <= 3; ++i) {
        reel->info.settings.padding = 0.05 * i;
        pictures.requestCard(*reel);
        ASSERT_TRUE(handleUntil([&] { return answers.order.size() == static_cast<std::size_t>(i); }));
    }
    EXPECT_EQ(loads, 1);
    EXPECT_NE(answers.cards[name], stillOf(*reel)); // not the gradient
}

// The object goes while its threads work.
TEST_F(ReelPicturesTest, MayGoAtAnyMoment) {
    for (int i = 0; i < 30; ++i) {
        ReelPictures pictures(cache, {});
        pictures.requestScrub(*reel);
        pictures.requestCard(*reel);
        handleFor(milliseconds(i % 10));
    }
}

} // namespace
} // namespace glintro
