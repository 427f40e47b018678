#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "platform/linux/wayland/FrameRelay.h"

namespace glintro {
namespace {

// A stream of 4 x 4 pictures, each of one value, that a consumer looks at or holds on to.
class FrameRelayed : public ::testing::Test {
  protected:
    void begin(int fps, int queueDepth) {
        relay.begin({fps, queueDepth},
                    {.frame = [this](ScreenFrame frame) { frames.push_back(std::move(frame)); },
                     .stopped = {},
                     .dropped = [this] { ++drops; }},
                    0);
    }
    void take(std::uint8_t value, Seconds time, std::optional<std::vector<RowRange>> damage = {},
              int height = 4) {
        const std::vector<std::uint8_t> pixels(4 * 4 * static_cast<std::size_t>(height), value);
        relay.take({{4, height}, pixels.data(), 16, CastPicture::Order::bgrx, time, std::move(damage)});
    }
    // What the consumer saw: a picture's value, and when.
    std::vector<std::pair<int, Seconds>> seen() const {
        std::vector<std::pair<int, Seconds>> result;
        for (const ScreenFrame& frame : frames) result.emplace_back(frame.bgra[0], frame.hostTime);
        return result;
    }

    FrameRelay relay;
    std::vector<ScreenFrame> frames; // all held on to
    int drops = 0;
};

using Seen = std::vector<std::pair<int, Seconds>>;

TEST_F(FrameRelayed, TheNewestBeforeTheStartComesFirstAndAgainEachSecond) {
    take(1, -5);
    take(2, -4);
    begin(60, 6);
    EXPECT_EQ(relay.deliver(0), 1);
    EXPECT_EQ(relay.deliver(0.5), 1);
    EXPECT_EQ(relay.deliver(1), 2);
    EXPECT_EQ(seen(), (Seen{{2, 0}, {2, 1}}));
    EXPECT_EQ(frames[0].changed, (std::vector<RowRange>{{0, 4}}));
    EXPECT_TRUE(frames[1].changed.empty());
}

TEST_F(FrameRelayed, NoMoreThanSoManyASecondAndTheLastPictureAlways) {
    take(0, 0);
    begin(10, 100);
    for (int i = 0; i < 100; ++i) { // 100 pictures in a second
        const Seconds now = i * 0.01;
        take(static_cast<std::uint8_t>(i), now);
        relay.deliver(now);
    }
    EXPECT_LE(frames.size(), 11U);
    EXPECT_GE(frames.size(), 10U);
    relay.deliver(1.2);
    EXPECT_EQ(seen().back(), (std::pair<int, Seconds>{99, 0.99}));
    for (std::size_t i = 1; i < frames.size(); ++i) EXPECT_GE(frames[i].hostTime, frames[i - 1].hostTime);
}

TEST_F(FrameRelayed, APictureThatFindsNoBufferIsCountedAndItsSuccessorComesOnceThereIsOne) {
    take(0, 0);
    begin(10, 2);
    relay.deliver(0);
    take(1, 1);
    relay.deliver(1);
    EXPECT_EQ(drops, 0);
    take(2, 2);
    relay.deliver(2);
    relay.deliver(2.1); // still none: the same picture is not counted twice
    EXPECT_EQ(drops, 1);
    take(3, 3);
    relay.deliver(3);
    EXPECT_EQ(drops, 2);
    EXPECT_EQ(seen(), (Seen{{0, 0}, {1, 1}}));
    frames.erase(frames.begin());
    relay.deliver(3.1);
    EXPECT_EQ(seen(), (Seen{{1, 1}, {3, 3}}));
}

TEST_F(FrameRelayed, ChangesOfPicturesThatWereLeftOutAreNotForgotten) {
    const std::vector<RowRange> all = {{0, 4}};
    take(0, 0);
    begin(10, 100);
    relay.deliver(0);
    take(1, 0.01, {{{3, 4}}});
    take(2, 0.02, {{{0, 1}}});
    relay.deliver(0.2);
    EXPECT_EQ(frames.back().changed, (std::vector<RowRange>{{0, 1}, {3, 4}}));
    take(3, 0.31, {{{1, 2}}});
    take(4, 0.32); // of unknown extent
    relay.deliver(0.4);
    EXPECT_EQ(frames.back().changed, all);
    take(5, 0.51, {{{1, 2}}}, 3); // another size, if only for one picture that nobody sees
    take(6, 0.52, {{{1, 2}}});
    relay.deliver(0.6);
    EXPECT_EQ(frames.back().changed, all);
    EXPECT_EQ(frames.back().size, (PixelSize{4, 4}));
}

TEST_F(FrameRelayed, RowsOfAnyStrideAndOrderBecomeBgrx) {
    const std::vector<std::uint8_t> padded = {1, 2, 3, 4, 99, 99, 5, 6, 7, 8, 99, 99};
    relay.take({{1, 2}, padded.data(), 6, CastPicture::Order::rgbx, 0});
    begin(60, 6);
    relay.deliver(0);
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0].stride, 4);
    EXPECT_EQ(std::vector<std::uint8_t>(frames[0].bgra, frames[0].bgra + 8),
              (std::vector<std::uint8_t>{3, 2, 1, 4, 7, 6, 5, 8}));
}

} // namespace
} // namespace glintro
