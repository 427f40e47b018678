#include <gtest/gtest.h>

#include "app/recording/RecordingFormat.h"

namespace glintro {
namespace {

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

} // namespace
} // namespace glintro
