#include <algorithm>
#include <numeric>

#include <gtest/gtest.h>

#include "app/recording/CaptureEngine.h"
#include "app/recording/RecordingFormat.h"
#include "core/media/MovieReader.h"
#include "tests/app/recording/TakeFixture.h"

namespace glintro::test {
namespace {

constexpr PixelSize kSmall{320, 200};

TEST(RecordingFormat, SpendsBitsByThePixelAboveAFloor) {
    struct Row {
        PixelSize size;
        int fps;
        std::int64_t bitRate;
    };
    for (const Row& row : {Row{{2560, 1600}, 60, 29'491'200}, Row{{1280, 720}, 30, 8'000'000},
                           Row{{5120, 2880}, 60, 106'168'320}, Row{{1920, 1080}, 60, 14'929'920}}) {
        EXPECT_EQ(screenBitRate(row.size, row.fps), row.bitRate) << row.size.width;
        EXPECT_LE(cameraVideo(row.size).bitRate, 8'000'000);
    }
    EXPECT_GE(cameraVideo({160, 120}).bitRate, 2'000'000);
}

TEST(CaptureEngine, HoldsTheLastPictureUntilTheStopOnlyWhenItIsYoung) {
    struct Row {
        Seconds lastFrameAgo;
        bool isHeld;
    };
    for (const Row& row : {Row{1.5, true}, Row{3, false}}) {
        TakeFixture take({.pixelSize = kSmall});
        ASSERT_TRUE(take.start());
        const Seconds now = hostTime();
        take.show(40, now - row.lastFrameAgo - 0.5);
        take.show(200, now - row.lastFrameAgo);
        const CaptureResult result = take.engine->stop();
        const Seconds untilStop = hostTime() - now;

        EXPECT_TRUE(result.hasFrames);
        const Seconds duration = trackDuration(take.rawMovie(), "v");
        if (row.isHeld) {
            EXPECT_GE(duration, 0.5 + row.lastFrameAgo - 0.01);
            EXPECT_LE(duration, 0.5 + row.lastFrameAgo + untilStop + 0.01);
        } else {
            EXPECT_GE(duration, 0.5);
            EXPECT_LE(duration, 0.6) << "the last frame is still seen, but not for long";
        }
    }
}

} // namespace
} // namespace glintro::test
