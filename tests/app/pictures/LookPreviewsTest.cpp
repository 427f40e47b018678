#include <atomic>
#include <map>

#include <gtest/gtest.h>

#include "app/base/Images.h"
#include "app/pictures/LookPreviews.h"
#include "core/model/Look.h"
#include "core/render/StillSource.h"
#include "tests/support/EventLoop.h"
#include "tests/support/Reels.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

using std::chrono::milliseconds;
using test::handleFor;
using test::handleUntil;
using test::makeReel;

class LookPreviewsTest : public testing::Test {
  protected:
    LookPreviewsTest() { test::application(); }

    void watch(LookPreviews& previews) {
        QObject::connect(&previews, &LookPreviews::previewReady, [this](const QString&) { ++tiles; });
        QObject::connect(&previews, &LookPreviews::finished, [this] { ++finished; });
        QObject::connect(&previews, &LookPreviews::failed, [this] { ++failed; });
    }

    TemporaryFolder folder;
    std::optional<Project> reel = makeReel(folder / "reel", {.frames = 120, .colour = [](int frame) {
                                                                 return test::Rgb{2 * frame, 90, 60};
                                                             }});
    ProjectSettings settings;
    int tiles = 0;
    int finished = 0;
    int failed = 0;
};

TEST_F(LookPreviewsTest, EveryTileIsTheStillOfItsLook) {
    settings.zooms = {{.start = 1, .end = 3, .scale = 2}};
    const auto wallpaper = std::make_shared<const BgraImage>(PixelSize{300, 200}); // black
    std::atomic<int> loads = 0;
    const auto load = [&](PixelSize) { return ++loads, wallpaper; };
    LookPreviews previews(*reel, {load, [] { return "the desktop's"; }});
    watch(previews);
    previews.setPixelRatio(2);
    auto source = StillSource::open(*reel);
    ASSERT_TRUE(source);
    for (const Seconds playhead : {2.0, 0.5}) {
        finished = tiles = 0;
        previews.refresh(settings, playhead, 0);
        ASSERT_TRUE(handleUntil([&] { return finished == 1; }));
        EXPECT_EQ(tiles, 8);
        const auto frame = (*source)->grab({.at = playhead});
        ASSERT_TRUE(frame);
        for (const Look& look : Look::all())
            EXPECT_EQ(previews.preview(QString::fromStdString(look.name)),
                      toImage((*source)->draw(*frame, look.applied(settings), 244, wallpaper, Framing::fit)))
                << look.name;
    }
    EXPECT_EQ(loads, 1);
    EXPECT_NE(previews.preview("Desktop"), previews.preview("Aurora"));
}

TEST_F(LookPreviewsTest, TilesFitWhateverTheShapeOfTheReel) {
    for (const AspectRatio aspect : {AspectRatio::wide, AspectRatio::square, AspectRatio::tall}) {
        for (const double ratio : {0.5, 1.0, 1.5, 2.0, 4.0}) {
            LookPreviews previews(*reel, {});
            watch(previews);
            settings.aspect = aspect;
            previews.setPixelRatio(ratio);
            finished = 0;
            previews.refresh(settings, 1, 0);
            ASSERT_TRUE(handleUntil([&] { return finished == 1; }));
            const QSize size = previews.preview("Paper").size();
            const double used = std::min(std::max(ratio, 1.0), 2.0);
            EXPECT_LE(size.width(), 122 * used + 1);
            EXPECT_LE(size.height(), 69 * used + 1);
            EXPECT_GE(std::max(size.width() / 122.0, size.height() / 69.0), 0.95 * used);
        }
    }
}

// Scrubbing draws once, after the playhead has come to rest.
TEST_F(LookPreviewsTest, ANewerCallReplacesWhatWaitsAndStopsWhatRuns) {
    LookPreviews previews(*reel, {});
    watch(previews);
    for (int i = 0; i < 20; ++i) {
        previews.refresh(settings, 0.1 * i, 0.2);
        handleFor(milliseconds(5));
    }
    EXPECT_EQ(tiles, 0);
    ASSERT_TRUE(handleUntil([&] { return finished == 1; }));
    EXPECT_EQ(tiles, 8);
    for (int i = 0; i < 40; ++i) {
        previews.refresh(settings, 0.1 * i, 0);
        handleFor(milliseconds(i % 4));
    }
    settings.aspect = AspectRatio::square;
    previews.refresh(settings, 3, 0);
    finished = 0; // nothing of earlier calls arrives from here on
    ASSERT_TRUE(handleUntil([&] { return finished == 1; }));
    for (const QImage& tile : previews.previews()) EXPECT_EQ(tile.width(), tile.height());
    previews.refresh(settings, 1, 0);
    handleFor(milliseconds(1));
    previews.cancel();
    tiles = finished = 0;
    handleFor(milliseconds(100));
    EXPECT_EQ(tiles + finished + failed, 0);
}

TEST_F(LookPreviewsTest, AMissingRecordingFailsOnceAndIsTriedAgainWhenAsked) {
    std::filesystem::rename(reel->rawURL(), folder / "away.mov");
    LookPreviews previews(*reel, {});
    watch(previews);
    previews.refresh(settings, 1, 0);
    ASSERT_TRUE(handleUntil([&] { return failed > 0; }));
    handleFor(milliseconds(50));
    EXPECT_EQ(failed, 1);
    std::filesystem::rename(folder / "away.mov", reel->rawURL());
    previews.refresh(settings, 1, 0);
    EXPECT_TRUE(handleUntil([&] { return finished == 1; }));
}

} // namespace
} // namespace glintro
