#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "core/plan/FrameGeometry.h"

namespace glintro {
namespace {

constexpr Size kScreen{2560, 1600};

TEST(OutputSize, FollowsAspectAndSide) {
    struct Row {
        AspectRatio aspect;
        Size source;
        double side;
        PixelSize byShortSide;
        PixelSize byLongSide;
    };
    const Row rows[] = {
        {AspectRatio::wide, kScreen, 1080, {1920, 1080}, {1080, 608}},
        {AspectRatio::tall, kScreen, 1080, {1080, 1920}, {608, 1080}},
        {AspectRatio::square, kScreen, 1080, {1080, 1080}, {1080, 1080}},
        {AspectRatio::classic, kScreen, 1080, {1440, 1080}, {1080, 810}},
        {AspectRatio::original, kScreen, 1000, {1600, 1000}, {1000, 626}},
        {AspectRatio::original, {1600, 2560}, 1000, {1000, 1600}, {626, 1000}},
        {AspectRatio::original, {100, 0}, 1080, {1920, 1080}, {1080, 608}},
        {AspectRatio::wide, kScreen, 1, {2, 2}, {2, 2}},
        {AspectRatio::tall, kScreen, 640, {640, 1138}, {360, 640}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(outputSize(row.aspect, row.source, ShortSide{row.side}), row.byShortSide) << row.side;
        EXPECT_EQ(outputSize(row.aspect, row.source, LongSide{row.side}), row.byLongSide) << row.side;
    }
}

TEST(TargetRect, CentresTheRecordingInsideThePadding) {
    struct Row {
        double padding;
        Size crop;
        PixelSize canvas;
        PixelRect target;
    };
    const Row rows[] = {
        {0.075, {1920, 1080}, {1920, 1080}, {144, 81, 1632, 918}},
        {0, {1920, 1080}, {1920, 1080}, {0, 0, 1920, 1080}},
        {0, {1000, 1000}, {1920, 1080}, {420, 0, 1080, 1080}},
        // An odd remainder: the half pixel is rounded from the bottom, so the recording ends higher.
        {0, {1920, 1081}, {1920, 1082}, {0, 0, 1920, 1081}},
        // Padding that leaves nothing still shows a recording ten pixels high.
        {0.5, {1600, 1000}, {1920, 1080}, {952, 535, 16, 10}},
        {-0.1, {1920, 1080}, {1920, 1080}, {-108, -61, 2136, 1202}},
    };
    for (const Row& row : rows) {
        ProjectSettings settings;
        settings.padding = row.padding;
        EXPECT_EQ(targetRect(settings, row.crop, row.canvas), row.target)
            << row.padding << " " << row.crop.width;
    }
}

TEST(SourceCrop, HasTheInnerShapeOnlyWhenFilling) {
    ProjectSettings settings;
    settings.padding = 0;
    EXPECT_EQ(sourceCrop(settings, kScreen, {1080, 1920}, Framing::fit), kScreen);
    EXPECT_EQ(sourceCrop(settings, kScreen, {1080, 1920}, Framing::fill), (Size{900, 1600}));
    EXPECT_EQ(sourceCrop(settings, {1000, 2000}, {1920, 1080}, Framing::fill), (Size{1000, 563}));
}

RC_GTEST_PROP(ZoomWindow, StaysInsideTheRecordingAndKeepsTheCropsShape, ()) {
    ProjectSettings settings;
    settings.followCursor = *rc::gen::arbitrary<bool>();
    settings.zooms = {{.start = 1, .end = 5, .scale = *rc::gen::inRange(11, 60) / 10.0}};
    RecordingEvents events;
    events.duration = 6;
    for (int i = 0; i < 40; ++i)
        events.cursor.push_back(
            {{i * 0.15, *rc::gen::inRange(0, 101) / 100.0, *rc::gen::inRange(0, 101) / 100.0}});
    const ZoomCamera camera(settings, events);
    const Framing framing = *rc::gen::element(Framing::fit, Framing::fill);
    const Size crop = sourceCrop(settings, kScreen, {1080, 1920}, framing);
    const Rect window = zoomWindow(camera, *rc::gen::inRange(0, 600) / 100.0, kScreen, crop);
    RC_ASSERT(window.x >= -1e-6 && window.x + window.width <= kScreen.width + 1e-6);
    RC_ASSERT(window.y >= -1e-6 && window.y + window.height <= kScreen.height + 1e-6);
    RC_ASSERT(std::abs(window.width / window.height - crop.width / crop.height) < 1e-9);
}

} // namespace
} // namespace glintro
