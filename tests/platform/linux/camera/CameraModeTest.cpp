#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/linux/camera/CameraMode.h"

namespace glintro {
namespace {

constexpr auto kRaw = CameraMode::Packing::raw;
constexpr auto kJpeg = CameraMode::Packing::jpeg;

CameraMode raw(int width, int height, double fps) {
    return {"yuyv422", kRaw, {width, height}, fps};
}

CameraMode jpeg(int width, int height, double fps) {
    return {"mjpeg", kJpeg, {width, height}, fps};
}

TEST(CameraModeTest, ChoosesTheBestThatIsFluent) {
    struct Row {
        std::string why;
        CameraMode best;
        std::vector<CameraMode> others;
    };
    const std::vector<Row> rows{
        {"raw is too slow when large",
         jpeg(1920, 1080, 30),
         {raw(1920, 1080, 5), raw(640, 480, 30), jpeg(640, 480, 30), jpeg(1280, 720, 30)}},
        {"fluent before large", raw(640, 480, 30), {raw(1920, 1080, 5), raw(1280, 720, 10)}},
        {"packed when both are fluent and large", jpeg(1280, 720, 30), {raw(1280, 720, 30)}},
        {"raw when small", raw(640, 480, 30), {jpeg(640, 480, 30)}},
        {"not beyond 1080 rows", jpeg(1920, 1080, 30), {jpeg(3840, 2160, 30), jpeg(2560, 1440, 30)}},
        {"the smallest when all are too large", jpeg(2560, 1440, 30), {jpeg(3840, 2160, 30)}},
        {"no more than 30 a second", jpeg(1280, 720, 30), {jpeg(1280, 720, 60), jpeg(1280, 720, 24)}},
        {"60 when there is no 30", jpeg(1280, 720, 60), {jpeg(1280, 720, 15)}},
        {"25 in a larger picture before 30", jpeg(1920, 1080, 25), {jpeg(1280, 720, 30)}},
        {"the fastest of the slow ones", raw(640, 480, 15), {raw(640, 480, 5), raw(640, 480, 10)}},
        {"an unknown rate is hoped for", raw(640, 480, 0), {raw(320, 240, 30), raw(640, 480, 10)}},
    };
    for (const Row& row : rows) {
        std::vector<CameraMode> modes = row.others;
        for (std::size_t i = 0; i <= row.others.size(); ++i) {
            modes = row.others;
            modes.insert(modes.begin() + static_cast<std::ptrdiff_t>(i), row.best);
            EXPECT_EQ(bestCameraMode(modes), row.best) << row.why << ", listed as number " << i;
        }
    }
    EXPECT_EQ(bestCameraMode({}), std::nullopt);
}

} // namespace
} // namespace glintro
