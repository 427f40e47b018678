#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/HostClock.h"
#include "platform/linux/camera/PipeWireCamera.h"
#include "tests/platform/linux/camera/CameraTools.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/SoundSession.h"
#include "tests/support/WaitUntil.h"

namespace glintro {
namespace {

using test::ChildProcess;
using test::ScopedEnvironment;
using test::SoundServer;
using test::SoundSession;
using test::waitUntil;
using test::Watching;

// A PipeWire of the test's own, and a camera in it that shows colour bars.
class PipeWireCameras : public ::testing::Test {
  protected:
    void SetUp() override {
        if (const auto missing = SoundSession::missing(SoundServer::pipeWire)) GTEST_SKIP() << *missing;
        if (std::system("gst-inspect-1.0 pipewiresink >/dev/null 2>/dev/null") != 0) {
            GTEST_SKIP() << "GStreamer's pipewiresink is not installed, so there is no camera to see.";
        }
        session_.emplace(SoundServer::pipeWire);
        folder_.emplace("PIPEWIRE_RUNTIME_DIR", session_->folder().path().string());
    }

    ChildProcess plugIn(const std::string& format, const std::string& name = "testcam") {
        return ChildProcess(
            {"gst-launch-1.0", "videotestsrc", "pattern=smpte75", "is-live=true", "!",
             "video/x-raw,format=" + format + ",width=640,height=360,framerate=30/1", "!", "pipewiresink",
             "mode=provide",
             "stream-properties=p,media.class=Video/Source,node.name=" + name + ",node.description=Bars"},
            session_->folder() / "camera.log");
    }
    static bool isThere(const std::string& id) {
        const auto devices = pipeWireCameras();
        return std::ranges::any_of(devices, [&](const CameraDevice& device) { return device.id == id; });
    }

    std::optional<SoundSession> session_;
    std::optional<ScopedEnvironment> folder_;
};

TEST_F(PipeWireCameras, ShowTheRightColoursInAnyFormat) {
    EXPECT_TRUE(pipeWireCameras().empty());
    // Colour bars of 75 % in BT.709: white, yellow, cyan, green, magenta, red, blue.
    const std::array<std::array<int, 3>, 7> bars = {{{180, 128, 128},
                                                     {168, 44, 136},
                                                     {145, 147, 44},
                                                     {133, 63, 52},
                                                     {63, 193, 204},
                                                     {51, 109, 212},
                                                     {28, 212, 120}}};
    for (const std::string format : {"I420", "NV12", "YUY2", "UYVY", "BGRx", "RGB"}) {
        SCOPED_TRACE(format);
        const ChildProcess device = plugIn(format, "cam" + format);
        const std::string id = "pipewire:cam" + format;
        ASSERT_TRUE(waitUntil([&] { return isThere(id); }));
        auto camera = openPipeWireCamera(id);
        ASSERT_TRUE(camera) << camera.error().message;
        Watching watching;
        const Seconds before = hostTime();
        ASSERT_TRUE((*camera)->start(watching.seen(), watching.lost()));
        ASSERT_TRUE(watching.until([&] { return watching.count >= 3 || !watching.losses.empty(); }));
        (*camera)->stop();
        ASSERT_TRUE(watching.losses.empty()) << watching.losses[0].message;
        const CameraFrame& frame = watching.frames[2];
        EXPECT_EQ(frame.size, (PixelSize{640, 360}));
        EXPECT_GE(frame.hostTime, before);
        EXPECT_LE(frame.hostTime, hostTime());
        for (std::size_t i = 0; i < bars.size(); ++i) {
            const auto colour = test::colourAt(frame, (static_cast<double>(i) + 0.5) / 7, 0.3);
            for (std::size_t part = 0; part < 3; ++part)
                EXPECT_NEAR(colour[part], bars[i][part], 4) << i << part;
        }
    }
}

TEST_F(PipeWireCameras, AreLostOnceWhenTheyGo) {
    for (const bool daemonDies : {false, true}) {
        auto device = plugIn("I420");
        ASSERT_TRUE(waitUntil([&] { return isThere("pipewire:testcam"); }));
        EXPECT_EQ(pipeWireCameras(), (std::vector<CameraDevice>{{"pipewire:testcam", "Bars", false}}));
        auto camera = openPipeWireCamera("pipewire:testcam");
        ASSERT_TRUE(camera) << camera.error().message;
        Watching watching(4);
        ASSERT_TRUE((*camera)->start(watching.seen(), watching.lost()));
        ASSERT_TRUE(watching.untilSeen(1));
        if (daemonDies) {
            session_->killServer();
        } else {
            device.signal(SIGKILL);
        }
        ASSERT_TRUE(watching.untilLost());
        (*camera)->stop();
        EXPECT_EQ(watching.losses.size(), 1U);
        device.signal(SIGKILL);
        ASSERT_TRUE(waitUntil([&] { return pipeWireCameras().empty(); }));
    }
    EXPECT_TRUE(pipeWireCameras().empty()); // without a daemon at all
    EXPECT_FALSE(openPipeWireCamera("pipewire:testcam"));
}

} // namespace
} // namespace glintro
