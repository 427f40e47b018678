#include <gtest/gtest.h>

#include "app/recording/CameraRecorder.h"
#include "tests/app/recording/TakeFixture.h"

namespace glintro {
namespace {

using test::TakeFixture;

constexpr Seconds kFrame = 1.0 / 30;

// Whether it says so, as one that is unplugged does, or just sends nothing any more.
TEST(CameraRecorder, EndsTheMovieWhereTheCameraDies) {
    struct Row {
        const char* what;
        bool isUnplugged;
        Seconds goesOn; // of the take, after the last picture
        Seconds duration;
    };
    for (const Row& row : {Row{"unplugged", true, 0.4, 0.2 + kFrame}, Row{"silent", false, 1.5, 0.2 + kFrame},
                           Row{"only slow", false, 0.6, 0.8}}) {
        TakeFixture take({.pixelSize = {320, 240}, .camera = true});
        ASSERT_TRUE(take.start());
        const Seconds begin = hostTime() - row.goesOn;
        take.show(40, begin);
        for (const Seconds time : {0.0, 0.1, 0.2}) take.showCamera({160, 120}, 60, begin + time);
        if (row.isUnplugged) take.cameras.unplug();
        const Seconds end = begin + 0.2 + row.goesOn;
        take.show(80, end - 0.1);
        ASSERT_TRUE(test::waitUntil([&] { return hostTime() >= end; }));
        EXPECT_TRUE(take.engine->stop());
        EXPECT_NEAR(test::trackDuration(take.cameraMovie(), "v"), row.duration, 0.05) << row.what;
        EXPECT_EQ(take.notices().size(), row.isUnplugged ? 1U : 0U) << row.what;
    }
}

// Otherwise a long camera movie that is being finished looks like a disk that hangs.
TEST(CameraRecorder, ShowsThatItsFinishGetsOn) {
    const TemporaryFolder folder;
    const PauseClock pauses;
    SerialQueue queue(8);
    test::FakeCameras cameras;
    CameraRecorder recorder(folder / "camera.mov", queue, pauses,
                            {[](const std::string&) {}, [](Seconds) {}});
    EXPECT_EQ(recorder.progress(), 0);
    recorder.start(cameras, std::nullopt);
    const Seconds begin = hostTime();
    for (const Seconds time : {0.0, 0.7, 1.4}) (void)cameras.show({160, 120}, 60, begin + time);
    recorder.stop();
    queue.run([&] { recorder.setEnd(begin + 2); });
    const std::int64_t before = recorder.progress();
    ASSERT_TRUE(recorder.finish());
    EXPECT_GT(recorder.progress(), before + 3);
}

} // namespace
} // namespace glintro
