#include <algorithm>
#include <cstring>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/HostClock.h"
#include "platform/linux/wayland/CastStream.h"
#include "tests/platform/linux/wayland/MutterRemote.h"
#include "tests/platform/linux/wayland/ScreenNode.h"
#include "tests/platform/linux/wayland/WaylandWindow.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/SoundSession.h"
#include "tests/support/WaitUntil.h"
#include "tests/support/WaylandSession.h"

namespace glintro {
namespace {

using test::insideWaylandSession;
using test::MutterRemote;
using test::ScopedEnvironment;
using test::ScreenNode;
using test::SoundServer;
using test::SoundSession;
using test::waitUntil;
using test::WaylandWindow;

// The portal needs a whole GNOME to list windows; the compositor shares one of its own accord just the same.
class WindowCast {
  public:
    explicit WindowCast(std::uint32_t node) : connection_(*PipeWireConnection::connect()) {
        const std::scoped_lock lock(*connection_);
        stream_ = *CastStream::connect(*connection_, node,
                                       {[this](const CastPicture& picture) { keep(picture); },
                                        [](std::optional<Point>) {}, [](const Failure&) {}});
    }
    ~WindowCast() { connection_->stop(); }

    bool shows(PixelSize size, std::uint32_t colour) {
        const std::scoped_lock lock(mutex_);
        return size_ == size && corners_ == std::vector<std::uint32_t>(4, colour);
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

// The last picture of a node on a PipeWire of the test's own, and all that came with it.
class NodeCast : public ::testing::Test {
  protected:
    void SetUp() override {
        if (const auto missing = SoundSession::missing(SoundServer::pipeWire)) GTEST_SKIP() << *missing;
        session_.emplace(SoundServer::pipeWire);
        folder_.emplace("PIPEWIRE_RUNTIME_DIR", session_->folder().path().string());
    }
    void TearDown() override {
        if (connection_) connection_->stop();
        stream_.reset();
    }

    void look(std::uint32_t node) {
        connection_ = *PipeWireConnection::connect();
        const std::scoped_lock lock(*connection_);
        stream_ = *CastStream::connect(
            *connection_, node,
            {[this](const CastPicture& picture) { keep(picture); },
             [this](std::optional<Point> pixel) { pointers_.push_back(pixel); }, [](const Failure&) {}});
    }
    void keep(const CastPicture& picture) {
        pictures_.push_back(picture);
        pictures_.back().pixels = nullptr; // not for longer than the call
        values_.push_back(picture.pixels[0]);
        shown_ = shownBy(picture);
    }
    static std::vector<std::string> shownBy(const CastPicture& picture) {
        std::vector<std::string> rows;
        for (int y = 0; y < picture.size.height; ++y) {
            rows.emplace_back();
            for (int x = 0; x < picture.size.width; ++x)
                rows.back() += static_cast<char>(picture.pixels[y * picture.stride + x * picture.step]);
        }
        return rows;
    }
    // What a condition reads must be read under the connection's lock.
    bool until(const std::function<bool()>& condition) {
        return waitUntil([&] {
            const std::scoped_lock lock(*connection_);
            return condition();
        });
    }
    // A picture sent before both ends are ready is lost.
    bool untilItShows(ScreenNode& node) {
        return waitUntil([&] {
            node.send(1);
            return waitUntil([&] { return isLast(1); }, std::chrono::milliseconds(200));
        });
    }
    bool isLast(int value) {
        const std::scoped_lock lock(*connection_);
        return !values_.empty() && values_.back() == value;
    }
    bool untilValue(int value) {
        return waitUntil([&] { return isLast(value); });
    }
    CastPicture last() {
        const std::scoped_lock lock(*connection_);
        return pictures_.back();
    }

    std::optional<Point> lastPointer() {
        const std::scoped_lock lock(*connection_);
        return pointers_.back();
    }

    std::optional<SoundSession> session_;
    std::optional<ScopedEnvironment> folder_;
    std::unique_ptr<PipeWireConnection> connection_;
    std::unique_ptr<CastStream> stream_;
    std::vector<CastPicture> pictures_;
    std::vector<int> values_;
    std::vector<std::string> shown_; // of the last picture, a letter for each pixel
    std::vector<std::optional<Point>> pointers_;
};

TEST_F(NodeCast, ReadsWhatComesBesideThePictures) {
    ScreenNode node({64, 32}, SPA_VIDEO_FORMAT_RGBx);
    look(node.id());
    ASSERT_TRUE(untilItShows(node));
    EXPECT_EQ(last().size, (PixelSize{64, 32}));
    EXPECT_EQ(last().stride, 256);
    EXPECT_EQ(last().order, CastPicture::Order::rgbx);
    EXPECT_FALSE(last().damage);
    EXPECT_EQ(lastPointer(), std::nullopt);

    const Seconds taken = hostTime() - 0.25;
    node.send(2, [&](const ScreenNode::Sheet& sheet) {
        sheet.header->pts = static_cast<std::int64_t>(taken * 1e9);
        sheet.crop[0] = {{10, 8}, {40, 20}};
        sheet.damage[0] = {{0, 9}, {64, 3}};
        sheet.damage[1] = {{0, 20}, {5, 100}};
        sheet.pointer->id = 1;
        sheet.pointer->position = {12, 20};
    });
    ASSERT_TRUE(untilValue(2));
    EXPECT_EQ(last().size, (PixelSize{40, 20}));
    EXPECT_NEAR(last().hostTime, taken, 1e-6);
    EXPECT_EQ(last().damage, (std::vector<RowRange>{{1, 4}, {12, 20}}));
    EXPECT_EQ(lastPointer(), (Point{2, 12}));

    const Seconds before = hostTime();
    node.send(3, [](const ScreenNode::Sheet& sheet) { sheet.header->pts = 1'700'000'000'000'000'000; });
    ASSERT_TRUE(untilValue(3));
    EXPECT_GE(last().hostTime, before) << "a time of the wall clock is none of ours";
    EXPECT_LE(last().hostTime, hostTime());
}

// Four pixels by two, each with a number of its own; what a user sees of it, row by row.
TEST_F(NodeCast, TurnsAScreenThatStandsOnItsSide) {
    const std::pair<std::uint32_t, std::vector<std::string>> rows[] = {
        {SPA_META_TRANSFORMATION_None, {"0123", "4567"}},
        {SPA_META_TRANSFORMATION_90, {"40", "51", "62", "73"}},
        {SPA_META_TRANSFORMATION_180, {"7654", "3210"}},
        {SPA_META_TRANSFORMATION_270, {"37", "26", "15", "04"}},
        {SPA_META_TRANSFORMATION_Flipped, {"3210", "7654"}},
        {SPA_META_TRANSFORMATION_Flipped90, {"04", "15", "26", "37"}},
        {SPA_META_TRANSFORMATION_Flipped180, {"4567", "0123"}},
        {SPA_META_TRANSFORMATION_Flipped270, {"73", "62", "51", "40"}}};
    ScreenNode node({4, 2}, SPA_VIDEO_FORMAT_BGRx);
    look(node.id());
    ASSERT_TRUE(untilItShows(node));
    for (const auto& [turn, seen] : rows) {
        node.send(0, [&](const ScreenNode::Sheet& sheet) {
            sheet.turn->transform = turn;
            sheet.damage[0] = {{0, 0}, {4, 1}};
            auto* pixels = static_cast<std::uint8_t*>(sheet.data->data);
            for (int i = 0; i < 8; ++i) std::memset(pixels + 4 * i, '0' + i, 4);
        });
        EXPECT_TRUE(until([&] { return shown_ == seen; })) << turn;
        EXPECT_EQ(last().damage.has_value(), turn == SPA_META_TRANSFORMATION_None);
    }
}

TEST_F(NodeCast, BuffersWithoutAPictureMoveThePointerOnly) {
    ScreenNode node({64, 32}, SPA_VIDEO_FORMAT_BGRx);
    look(node.id());
    ASSERT_TRUE(untilItShows(node));
    const std::function<void(const ScreenNode::Sheet&)> spoilers[] = {
        [](const ScreenNode::Sheet& sheet) { sheet.data->chunk->size = 0; },
        [](const ScreenNode::Sheet& sheet) { sheet.data->chunk->flags = SPA_CHUNK_FLAG_CORRUPTED; },
        [](const ScreenNode::Sheet& sheet) { sheet.header->flags = SPA_META_HEADER_FLAG_CORRUPTED; },
        [](const ScreenNode::Sheet& sheet) { sheet.data->chunk->stride = 1 << 20; },
        [](const ScreenNode::Sheet& sheet) { sheet.data->chunk->stride = 8; }};
    int x = 0;
    for (const auto& spoil : spoilers) {
        const Point there{static_cast<double>(++x), 7};
        node.send(99, [&](const ScreenNode::Sheet& sheet) {
            sheet.pointer->id = 1;
            sheet.pointer->position = {x, 7};
            sheet.damage[0] = {{0, 0}, {64, 1}};
            spoil(sheet);
        });
        EXPECT_TRUE(until([&] { return pointers_.back() == there; })) << x;
    }
    EXPECT_TRUE(until([&] { return std::ranges::count(values_, 99) == 0; }));
    for (const bool isKnown : {false, true}) { // what changed in the pictures that could not be read is not
        const std::uint8_t value = isKnown ? 3 : 2;
        node.send(value, [](const ScreenNode::Sheet& sheet) { sheet.damage[0] = {{0, 5}, {64, 2}}; });
        ASSERT_TRUE(untilValue(value));
        EXPECT_EQ(last().damage.has_value(), isKnown);
    }
}

} // namespace
} // namespace glintro
