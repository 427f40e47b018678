#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/linux/camera/AvCamera.h"
#include "tests/platform/linux/camera/CameraTools.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

using test::Watching;

// What a camera that packs its pictures sends: one JPEG after the other.
std::string jpegs(const TemporaryFolder& folder, const std::string& source, int count) {
    const std::string file = folder / "source.mjpeg";
    const std::string command = "ffmpeg -v error -nostdin -y -f lavfi -i '" + source + "' -frames:v "
                                + std::to_string(count) + " -c:v mjpeg -q:v 2 -f mjpeg " + file;
    if (std::system(command.c_str()) != 0) throw std::runtime_error("ffmpeg does not make JPEGs");
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// A JPEG whose tables are gone.
std::string damaged(std::string jpeg) {
    std::fill_n(jpeg.begin() + 2, jpeg.size() / 2, '\0');
    return jpeg;
}

void watch(const TemporaryFolder& folder, const std::string& stream, Watching& watching) {
    const std::string file = folder / "camera.mjpeg";
    std::ofstream(file, std::ios::binary) << stream;
    AvCamera camera({.format = "mjpeg", .url = "file:" + file, .name = "Film", .options = {}});
    ASSERT_TRUE(camera.start(watching.seen(), watching.lost()));
    ASSERT_TRUE(watching.untilLost());
    camera.stop();
    EXPECT_EQ(watching.losses.size(), 1U);
}

TEST(AvCameraTest, LeavesOutDamagedPicturesAndScalesThoseOfAnotherSize) {
    const TemporaryFolder folder;
    const std::string small = jpegs(folder, "testsrc2=size=64x48", 3);
    const std::string large = jpegs(folder, "testsrc2=size=96x80,scale=97:81", 4);
    const std::string spoilt = damaged(jpegs(folder, "testsrc2=size=64x48", 1));
    Watching watching;
    watch(folder, small + spoilt + small + large, watching);
    std::vector<int> widths;
    for (const CameraFrame& frame : watching.frames) widths.push_back(frame.size.width);
    EXPECT_EQ(widths, std::vector(10, 64));
}

// A picture of another shape loses what reaches beyond the first one's; one of the same shape loses nothing.
TEST(AvCameraTest, ScalesAPictureOfAnotherSizeToCoverTheFirst) {
    const TemporaryFolder folder;
    const std::string first = jpegs(folder, "color=size=64x48:color=white", 1);
    const std::string wide = jpegs(folder, "color=size=64x48:color=red,pad=96:48:16:0:lime", 1);
    const std::string tall = jpegs(folder, "color=size=64x48:color=red,pad=64:128:0:40:lime", 1);
    const std::string larger = jpegs(folder, "color=size=128x192:color=red,pad=256:192:128:0:lime", 1);
    Watching watching;
    watch(folder, first + wide + tall + larger, watching);
    ASSERT_EQ(watching.count, 4U);
    constexpr int kRed = 63, kLime = 173; // luma
    const struct {
        std::size_t frame;
        double x, y;
        int luma;
    } rows[] = {{1, 0.05, 0.5, kRed}, {1, 0.95, 0.5, kRed},  {2, 0.5, 0.05, kRed},
                {2, 0.5, 0.95, kRed}, {3, 0.25, 0.5, kLime}, {3, 0.75, 0.5, kRed}};
    for (const auto& row : rows) {
        EXPECT_EQ(watching.frames[row.frame].size, (PixelSize{64, 48}));
        EXPECT_NEAR(test::colourAt(watching.frames[row.frame], row.x, row.y)[0], row.luma, 6)
            << row.frame << " at " << row.x << ", " << row.y;
    }
}

// A camera that falls silent after its first pictures: a socket whose other end says no more.
class SilentCameraTest : public testing::Test {
  protected:
    void SetUp() override {
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        ASSERT_EQ(::listen(listener, 1), 0);
        const std::string pictures = jpegs(folder, "testsrc2=size=64x48", 3);
        std::jthread server([&] {
            connection = ::accept(listener, nullptr, nullptr);
            EXPECT_EQ(::send(connection, pictures.data(), pictures.size(), MSG_NOSIGNAL),
                      static_cast<ssize_t>(pictures.size()));
        });
        ASSERT_TRUE(camera.start(watching.seen(), watching.lost()));
        ASSERT_TRUE(watching.untilSeen(1));
    }

    ~SilentCameraTest() override {
        camera.stop();
        ::close(connection);
        ::close(listener);
    }

    TemporaryFolder folder;
    std::string path = folder / "camera.sock";
    int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    int connection = -1;
    Watching watching;
    AvCamera camera{{.format = "mjpeg", .url = "unix:" + path, .name = "Quiet", .options = {}}};
};

TEST_F(SilentCameraTest, StopsAllTheSame) {
    camera.stop();
    EXPECT_TRUE(watching.losses.empty());
}

TEST_F(SilentCameraTest, IsLostAfterAWhile) {
    ASSERT_TRUE(watching.untilLost());
    camera.stop();
    ASSERT_EQ(watching.losses.size(), 1U);
    EXPECT_EQ(watching.losses[0].message,
              "The camera “Quiet” has stopped sending pictures; plug it in again.");
}

} // namespace
} // namespace glintro
