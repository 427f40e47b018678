#include <mutex>
#include <optional>
#include <vector>

#include <gtest/gtest.h>

#include "platform/linux/wayland/CastStream.h"
#include "tests/platform/linux/wayland/MutterRemote.h"
#include "tests/platform/linux/wayland/WaylandWindow.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/WaylandSession.h"

namespace glintro {
namespace {

using test::insideWaylandSession;
using test::MutterRemote;
using test::waitUntil;
using test::WaylandWindow;

// The portal needs a whole GNOME to list windows; the compositor shares one of its own accord just the same.
class WindowCast {
  public:
    explicit WindowCast(std::uint32_t node) : connection_(*PipeWireConnection::connect()) {
        const std::scoped_lock lock(*connection_);
        stream_ = *CastStream::connect(*connection_, node,
                                       {[this](const CastPicture& picture) { keep(picture); },
                                        [this](std::optional<Point> pixel) {
                                            const std::scoped_lock own(mutex_);
                                            pointer_ = pixel;
                                        },
                                        [](const Failure&) {}});
    }
    ~WindowCast() { connection_->stop(); }

    bool shows(PixelSize size, std::uint32_t colour) {
        const std::scoped_lock lock(mutex_);
        return size_ == size && corners_ == std::vector<std::uint32_t>(4, colour);
    }
    std::optional<Point> pointer() {
        const std::scoped_lock lock(mutex_);
        return pointer_;
    }

  private:
    void keep(const CastPicture& picture) {
        const std::scoped_lock lock(mutex_);
        size_ = picture.size;
        corners_.clear();
        for (const int y : {0, size_.height - 1}) {
            for (const int x : {0, size_.width - 1}) {
                const std::uint8_t* pixel = picture.pixels + y * picture.stride + x * 4;
                corners_.push_back(static_cast<std::uint32_t>(pixel[2] << 16 | pixel[1] << 8 | pixel[0]));
            }
        }
    }

    std::unique_ptr<PipeWireConnection> connection_;
    std::unique_ptr<CastStream> stream_;
    std::mutex mutex_;
    PixelSize size_;
    std::vector<std::uint32_t> corners_;
    std::optional<Point> pointer_;
};

TEST(CastStream, FollowsAWindowThatIsResized) {
    insideWaylandSession([] {
        WaylandWindow window({400, 300});
        window.show({{{0, 0, 400, 300}, 0xFF0000}});
        MutterRemote remote;
        WindowCast cast(remote.shareFrontWindow());
        ASSERT_TRUE(waitUntil([&] { return cast.shows({400, 300}, 0xFF0000); }));
        window.resize({500, 200}, 0x00FF00);
        EXPECT_TRUE(waitUntil([&] { return cast.shows({500, 200}, 0x00FF00); }));
    });
}

TEST(CastStream, LosesThePointerThatLeavesTheWindow) {
    insideWaylandSession([] {
        WaylandWindow window({400, 300});
        window.show({{{0, 0, 400, 300}, 0xFF0000}});
        MutterRemote remote;
        WindowCast cast(remote.shareFrontWindow());
        ASSERT_TRUE(waitUntil([&] { return cast.shows({400, 300}, 0xFF0000); }));
        // Where mutter has put the window is its own affair: the pointer crosses the screen until it meets
        // it.
        bool met = false;
        for (int x = 0; x < 1280 && !met; x += 100) {
            remote.movePointerTo(x, 0);
            for (int y = 0; y < 720 && !met; y += 100) {
                remote.movePointerTo(x, y);
                met = waitUntil([&] { return cast.pointer().has_value(); }, std::chrono::milliseconds(100));
            }
        }
        ASSERT_TRUE(met);
        EXPECT_GE(cast.pointer()->x, 0);
        EXPECT_LT(cast.pointer()->x, 400);
        remote.movePointerTo(1279, 719);
        EXPECT_TRUE(waitUntil([&] { return !cast.pointer(); }));
    });
}

} // namespace
} // namespace glintro
