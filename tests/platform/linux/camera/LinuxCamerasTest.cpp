#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/HostClock.h"
#include "platform/linux/camera/LinuxCameras.h"
#include "platform/linux/camera/V4l2Devices.h"
#include "tests/platform/linux/camera/CameraTools.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

using test::Watching;

std::unique_ptr<Camera> open(const std::string& graph) {
    auto camera = createLinuxCameras()->openCamera("lavfi:" + graph);
    if (!camera) throw std::runtime_error(camera.error().message);
    return std::move(*camera);
}

struct ColourRow {
    std::string name;
    std::string graph;
    std::array<int, 3> expected; // BT.709, limited
};

void PrintTo(const ColourRow& row, std::ostream* out) {
    *out << row.name;
}

class CameraColourTest : public testing::TestWithParam<ColourRow> {};

// FFmpeg draws into Y'CbCr as BT.601, as cameras do, and white into grey as 235, where cameras use all
// values.
TEST_P(CameraColourTest, ComesOutAsBt709) {
    const auto camera = open(GetParam().graph);
    Watching watching;
    ASSERT_TRUE(camera->start(watching.seen(), watching.lost()));
    ASSERT_TRUE(watching.untilSeen(2));
    camera->stop();
    const auto colour = test::colourAt(watching.frames.back(), 0.5, 0.5);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(colour[i], GetParam().expected[i], 2) << i;
}

constexpr std::array kRed{63, 102, 240};
constexpr std::array kGreen{173, 42, 26};
constexpr std::array kBlue{32, 240, 118};

INSTANTIATE_TEST_SUITE_P(
    Formats, CameraColourTest,
    testing::Values(ColourRow{"LimitedRed", "color=red:size=64x48,format=yuv420p,realtime", kRed},
                    ColourRow{"LimitedGreen", "color=lime:size=64x48,format=yuyv422,realtime", kGreen},
                    ColourRow{"LimitedBlue", "color=blue:size=64x48,format=nv12,realtime", kBlue},
                    ColourRow{"FullRed", "color=red:size=64x48,format=yuvj422p,realtime", kRed},
                    ColourRow{"FullBlue", "color=blue:size=64x48,format=yuvj420p,realtime", kBlue},
                    ColourRow{
                        "FullWhite", "color=white:size=64x48,format=yuvj420p,realtime", {235, 128, 128}},
                    ColourRow{"RgbRed", "color=red:size=64x48,format=rgb24,realtime", kRed},
                    ColourRow{"RgbGreen", "color=lime:size=64x48,format=bgr24,realtime", kGreen},
                    ColourRow{"Grey", "color=white:size=64x48,format=gray,realtime", {218, 128, 128}},
                    ColourRow{"OddSize", "color=red:size=63x47,format=rgb24,realtime", kRed}),
    [](const auto& row) { return row.param.name; });

TEST(LinuxCamerasTest, DeliversPicturesOfTheSizeAndRateInTheirOrder) {
    const auto camera = open("testsrc2=size=640x480:rate=30,scale=641:479,realtime");
    Watching watching(4); // so that buffers are used again
    std::vector<Seconds> times;
    const Seconds before = hostTime();
    ASSERT_TRUE(camera->start(
        [&, seen = watching.seen()](CameraFrame frame) {
            times.push_back(frame.hostTime);
            EXPECT_EQ(frame.size, (PixelSize{641, 479}));
            seen(std::move(frame));
        },
        watching.lost()));
    ASSERT_TRUE(watching.untilSeen(40));
    camera->stop();
    EXPECT_GE(times.front(), before);
    EXPECT_LE(times.back(), hostTime());
    EXPECT_TRUE(std::ranges::is_sorted(times));
    EXPECT_GT((times.back() - times.front()) / static_cast<double>(times.size() - 1), 0.9 / 30);
    EXPECT_TRUE(watching.losses.empty());

    // Each in a buffer of its own while it is held, and each another picture: the test picture moves.
    std::set<const void*> buffers;
    std::set<std::vector<std::uint8_t>> pictures;
    for (const CameraFrame& frame : watching.frames) {
        buffers.insert(frame.planes[0]);
        std::vector<std::uint8_t> luma;
        for (int row = 0; row < frame.size.height; ++row) {
            const std::uint8_t* line = frame.planes[0] + row * frame.strides[0];
            luma.insert(luma.end(), line, line + frame.size.width);
        }
        pictures.insert(luma);
    }
    EXPECT_EQ(buffers.size(), 4U);
    EXPECT_EQ(pictures.size(), 4U);
}

TEST(LinuxCamerasTest, AGraphThatIsNoneFailsToStart) {
    const auto camera = open("nosuchfilter=1");
    Watching watching;
    EXPECT_FALSE(camera->start(watching.seen(), watching.lost()));
}

TEST(LinuxCamerasTest, ListsCamerasWithOneDefaultWhereThereAreAny) {
    const auto cameras = createLinuxCameras()->cameras();
    ASSERT_TRUE(cameras) << cameras.error().message;
    EXPECT_EQ(std::ranges::count(*cameras, true, &CameraDevice::isDefault), cameras->empty() ? 0 : 1);
}

TEST(LinuxCamerasTest, LeavesOutWhatIsNoCamera) {
    const TemporaryFolder folder;
    std::ofstream(folder / "video0") << "no device";
    std::filesystem::create_symlink("/dev/null", folder / "video1");
    std::filesystem::create_symlink("nowhere", folder / "video2");
    EXPECT_TRUE(v4l2Cameras(folder.path()).empty());
    EXPECT_TRUE(v4l2Cameras(folder / "missing").empty());
}

TEST(LinuxCamerasTest, NamesWhatIsWrong) {
    struct Row {
        std::string device;
        std::string message;
    };
    for (const Row& row :
         {Row{"Studio", "There is no camera “Studio”; connect it or choose another one."},
          Row{"/dev/video99", "There is no camera “/dev/video99”; connect it or choose another one."},
          Row{"/dev/null", "“/dev/null” is not a camera; choose another one."},
          Row{"/dev", "“/dev” is not a camera; choose another one."}}) {
        const auto camera = createLinuxCameras()->openCamera(row.device);
        ASSERT_FALSE(camera) << row.device;
        EXPECT_EQ(camera.error().message, row.message);
    }
}

TEST(LinuxCamerasTest, SaysThatTheUserMayNot) {
    if (::geteuid() != 0) GTEST_SKIP() << "Only root can become a user who may not open a file.";
    const TemporaryFolder folder;
    const std::string file = folder / "video0";
    std::ofstream(file) << "secret";
    ::chmod(file.c_str(), 0600);
    ::chmod(folder.path().c_str(), 0755);
    ASSERT_EQ(::seteuid(65534), 0);
    const auto camera = readV4l2Camera(file);
    ASSERT_EQ(::seteuid(0), 0);
    ASSERT_FALSE(camera);
    EXPECT_EQ(camera.error().message,
              "The camera “" + file + "” may not be used by this user; add the user to the group “video”.");
}

} // namespace
} // namespace glintro
