// Composition, compositor and stills over real movies.

#include <fstream>

#include <gtest/gtest.h>

#include "core/model/Look.h"
#include "core/render/ReelCompositor.h"
#include "core/render/Still.h"
#include "tests/support/Reels.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

using test::makeReel;
using test::MovieRecipe;
using test::pixelAt;

// The frame of a movie of MovieRecipe's colours, by its red: 30, 33, 36 ...
int frameNumber(const PicturePtr& picture) {
    PictureBuffer rgb(PixelLayout::rgb444, picture->size);
    for (int i = 0; i < 3; ++i)
        for (int y = 0; y < picture->size.height; ++y)
            for (int x = 0; x < picture->size.width; ++x) {
                const PlaneView plane = picture->planes[static_cast<std::size_t>(i)];
                rgb.plane(i).row(y)[x] = i == 0 ? plane.row(y)[x] : plane.row(y / 2)[x / 2];
            }
    yuvToRgb(rgb.plane(0), rgb.plane(1), rgb.plane(2));
    return (rgb.plane(0).row(100)[160] - 30 + 1) / 3;
}

TEST(ReelComposition, PlaysTheMapsMomentsAndAlignsTheWebcam) {
    const TemporaryFolder folder;
    auto reel = makeReel(folder / "reel", {}, {}, MovieRecipe{.size = {160, 90}, .frames = 30});
    ASSERT_TRUE(reel);
    reel->info.cameraOffset = 0.5;
    ProjectSettings settings = reel->info.settings;
    settings.cuts = {{.start = 0.5, .end = 1.0}};
    settings.speeds = {{.start = 1.0, .end = 2.0, .rate = 2}};
    auto composition = ReelComposition::build(*reel, settings);
    ASSERT_TRUE(composition) << composition.error().message;
    EXPECT_NEAR(composition->map.compDuration(), 1.0, 1e-9);
    EXPECT_EQ(composition->sourceSize, (Size{320, 200}));

    const FrameRenderer renderer(settings, composition->sourceSize, {}, nullptr, Framing::fit);
    ReelCompositor compositor(*composition, renderer, {320, 180});
    struct Row {
        double t;
        int screen;
        int webcam; // -1: outside its movie
    };
    for (const Row& row : {Row{0, 0, -1}, {0.4, 12, -1}, {0.5, 30, 15}, {0.75, 45, -1}, {0.99, 59, -1}}) {
        const auto frame = compositor.frameAt(row.t + 1e-4);
        ASSERT_TRUE(frame);
        EXPECT_EQ(frameNumber(frame->screen), row.screen) << row.t;
        EXPECT_EQ(frame->webcam != nullptr, row.webcam >= 0) << row.t;
    }
}

// An editor switches the bubble on while the reel is open.
TEST(ReelComposition, OpensTheWebcamThoughItsBubbleIsHidden) {
    const TemporaryFolder folder;
    auto reel = makeReel(folder / "reel", {}, {}, MovieRecipe{.size = {160, 90}, .frames = 30});
    ASSERT_TRUE(reel);
    ProjectSettings settings = reel->info.settings;
    settings.showCamera = false;
    auto composition = ReelComposition::build(*reel, settings);
    ASSERT_TRUE(composition);
    EXPECT_NE(composition->webcam, nullptr);
    for (const bool isShown : {false, true}) {
        settings.showCamera = isShown;
        const FrameRenderer renderer(settings, composition->sourceSize, {}, nullptr, Framing::fit);
        const auto frame = ReelCompositor(*composition, renderer, {320, 180}).frameAt(0.2);
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->webcam != nullptr, isShown);
    }
}

TEST(ReelComposition, ABrokenWebcamLeavesOnlyTheBubbleOut) {
    const TemporaryFolder folder;
    auto reel = makeReel(folder / "reel", {}, {}, MovieRecipe{.size = {160, 90}, .frames = 30});
    ASSERT_TRUE(reel);
    std::ofstream(reel->cameraURL(), std::ios::binary | std::ios::trunc) << "not a movie";
    const auto composition = ReelComposition::build(*reel, reel->info.settings);
    ASSERT_TRUE(composition);
    EXPECT_EQ(composition->webcam, nullptr);
    EXPECT_TRUE(Still::frame(*reel, {.at = 1, .camera = CameraUse::with}));
}

TEST(StillSource, GrabsMomentsInsideTheRecordingWithinTheTolerance) {
    const TemporaryFolder folder;
    const auto reel = makeReel(folder / "reel", {});
    ASSERT_TRUE(reel);
    auto source = StillSource::open(*reel);
    ASSERT_TRUE(source) << source.error().message;
    struct Row {
        double at;
        double grabbed;
        int frame;
    };
    for (const Row& row : {Row{-3, 0, 0}, {0, 0, 0}, {99, 1.98, 59}, {1, 1, 30}}) {
        SCOPED_TRACE(row.at);
        const auto exact = (*source)->grab({.at = row.at, .tolerance = FrameTolerance::exact});
        ASSERT_TRUE(exact) << exact.error().message;
        EXPECT_NEAR(exact->time, row.grabbed, 1e-9);
        EXPECT_EQ(frameNumber(exact->screen), row.frame);
        const auto nearby = Still::frame(*reel, {.at = row.at});
        ASSERT_TRUE(nearby);
        EXPECT_NEAR(nearby->time, row.grabbed, 1e-9);
        EXPECT_NEAR(frameNumber(nearby->screen), row.frame, 3) << "a tenth of a second";
    }
    const auto small = (*source)->grab({.at = 1, .maxSide = 160});
    ASSERT_TRUE(small);
    EXPECT_EQ(small->screen->size, (PixelSize{160, 100}));
    EXPECT_EQ(plainImage(*small->screen).size, (PixelSize{160, 100}));
    std::stop_source stopped;
    stopped.request_stop();
    const auto cancelled = (*source)->grab({.at = 0.5, .stop = stopped.get_token()});
    ASSERT_FALSE(cancelled);
    EXPECT_TRUE(cancelled.error().isCancelled());
}

// One grabbed frame gives under every Look what a still of its own gives.
TEST(StillSource, DrawsOneFrameUnderManyLooks) {
    const TemporaryFolder folder;
    RecordingEvents events;
    events.duration = 2;
    events.cursor = {{{0, 0.2, 0.2}}, {{1, 0.5, 0.5}}, {{2, 0.8, 0.8}}};
    const auto reel = makeReel(folder / "reel", {}, events, MovieRecipe{.size = {160, 90}, .frames = 60});
    ASSERT_TRUE(reel);
    auto source = StillSource::open(*reel);
    ASSERT_TRUE(source);
    const auto frame = (*source)->grab({.at = 1, .camera = CameraUse::with});
    ASSERT_TRUE(frame);
    for (const Look& look : Look::all()) {
        ProjectSettings settings = reel->info.settings;
        look.apply(settings);
        const BgraImage image = (*source)->draw(*frame, settings, 320, nullptr, Framing::fit);
        const auto alone = Still::render(*reel, 1, 320, settings, Framing::fit);
        ASSERT_TRUE(alone);
        EXPECT_EQ(image.pixels, alone->pixels) << look.name;
    }
}

} // namespace
} // namespace glintro
