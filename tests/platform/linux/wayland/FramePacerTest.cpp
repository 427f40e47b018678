#include <algorithm>
#include <cstdint>
#include <deque>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "platform/linux/wayland/FramePacer.h"

namespace glintro {
namespace {

// A stream of 4 x 4 pictures, each of one value, that a consumer looks at or holds on to.
class FramesPaced : public ::testing::Test {
  protected:
    void begin(int fps, int queueDepth) {
        pacer.begin({fps, queueDepth},
                    {.frame = [this](ScreenFrame frame) { frames.push_back(std::move(frame)); },
                     .stopped = {},
                     .dropped = [this] { ++drops; }},
                    0);
    }
    void send(std::uint8_t value, Seconds time, std::optional<std::vector<RowRange>> damage = {},
              int height = 4) {
        const std::vector<std::uint8_t> pixels(4 * 4 * static_cast<std::size_t>(height), value);
        pacer.accept({{4, height}, pixels.data(), 16, CastPicture::Order::bgrx, time, std::move(damage)});
    }
    // What the consumer saw: a picture's value, and when.
    std::vector<std::pair<int, Seconds>> seen() const {
        std::vector<std::pair<int, Seconds>> result;
        for (const ScreenFrame& frame : frames) result.emplace_back(frame.bgra[0], frame.hostTime);
        return result;
    }

    FramePacer pacer;
    std::vector<ScreenFrame> frames; // all held on to
    int drops = 0;
};

using Seen = std::vector<std::pair<int, Seconds>>;

TEST_F(FramesPaced, TheNewestBeforeTheStartComesFirstAndAgainEachSecond) {
    send(1, -5);
    send(2, -4);
    begin(60, 6);
    EXPECT_EQ(pacer.deliver(0), 1);
    EXPECT_EQ(pacer.deliver(0.5), 1);
    EXPECT_EQ(pacer.deliver(1), 2);
    EXPECT_EQ(seen(), (Seen{{2, 0}, {2, 1}}));
    EXPECT_EQ(frames[0].changed, (std::vector<RowRange>{{0, 4}}));
    EXPECT_TRUE(frames[1].changed.empty());
}

TEST_F(FramesPaced, NoMoreThanSoManyASecondAndTheLastPictureAlways) {
    send(0, 0);
    begin(10, 100);
    for (int i = 0; i < 100; ++i) { // 100 pictures in a second
        const Seconds now = i * 0.01;
        send(static_cast<std::uint8_t>(i), now);
        pacer.deliver(now);
    }
    EXPECT_LE(frames.size(), 11U);
    EXPECT_GE(frames.size(), 10U);
    pacer.deliver(1.2);
    EXPECT_EQ(seen().back(), (std::pair<int, Seconds>{99, 0.99}));
    for (std::size_t i = 1; i < frames.size(); ++i) EXPECT_GE(frames[i].hostTime, frames[i - 1].hostTime);
}

TEST_F(FramesPaced, APictureThatFindsNoBufferIsCountedAndItsSuccessorComesOnceThereIsOne) {
    send(0, 0);
    begin(10, 2);
    pacer.deliver(0);
    send(1, 1);
    pacer.deliver(1);
    EXPECT_EQ(drops, 0);
    send(2, 2);
    pacer.deliver(2);
    pacer.deliver(2.1); // still none: the same picture is not counted twice
    EXPECT_EQ(drops, 1);
    send(3, 3);
    pacer.deliver(3);
    EXPECT_EQ(drops, 2);
    EXPECT_EQ(seen(), (Seen{{0, 0}, {1, 1}}));
    frames.erase(frames.begin());
    pacer.deliver(3.1);
    EXPECT_EQ(seen(), (Seen{{1, 1}, {3, 3}}));
}

TEST_F(FramesPaced, ChangesOfPicturesThatWereLeftOutAreNotForgotten) {
    const std::vector<RowRange> all = {{0, 4}};
    send(0, 0);
    begin(10, 100);
    pacer.deliver(0);
    send(1, 0.01, {{{3, 4}}});
    send(2, 0.02, {{{0, 1}}});
    pacer.deliver(0.2);
    EXPECT_EQ(frames.back().changed, (std::vector<RowRange>{{0, 1}, {3, 4}}));
    send(3, 0.31, {{{1, 2}}});
    send(4, 0.32); // of unknown extent
    pacer.deliver(0.4);
    EXPECT_EQ(frames.back().changed, all);
    send(5, 0.51, {{{1, 2}}}, 3); // another size, if only for one picture that nobody sees
    send(6, 0.52, {{{1, 2}}});
    pacer.deliver(0.6);
    EXPECT_EQ(frames.back().changed, all);
    EXPECT_EQ(frames.back().size, (PixelSize{4, 4}));
}

// A picture of 40 rows, or at times 30, that changes in a few, beside a consumer that holds frames for a
// while.
TEST_F(FramesPaced, AreWholeThoughOnlyDamagedRowsAreCopied) {
    constexpr int kTall = 40, kLow = 30, kPictures = 400;
    std::mt19937 random(7);
    const auto below = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    std::vector<std::uint8_t> screen(4 * kTall, 0);
    std::deque<std::pair<ScreenFrame, std::vector<std::uint8_t>>> held;
    pacer.begin({100, 4},
                {.frame = [&](ScreenFrame frame) { held.emplace_back(std::move(frame), screen); },
                 .stopped = {},
                 .dropped = {}},
                0);
    for (int i = 0; i < kPictures; ++i) {
        const int height = i / 100 % 2 == 0 ? kTall : kLow;
        screen.resize(4 * static_cast<std::size_t>(height));
        const int begin = below(height), end = std::min(begin + 1 + below(3), height);
        for (int y = begin; y < end; ++y)
            screen[static_cast<std::size_t>(4 * y)] = static_cast<std::uint8_t>(i);
        pacer.accept({{1, height}, screen.data(), 4, CastPicture::Order::bgrx, i * 0.005, {{{begin, end}}}});
        pacer.deliver(i * 0.005);
        while (held.size() > 3 || (!held.empty() && below(2) == 0)) held.pop_front();
        for (const auto& [frame, expected] : held)
            ASSERT_EQ(std::vector(frame.bgra, frame.bgra + expected.size()), expected) << i;
    }
    EXPECT_LT(pacer.copiedRows(), kPictures * kTall / 3);
}

TEST_F(FramesPaced, RowsOfAnyStrideAndOrderBecomeBgrx) {
    const std::vector<std::uint8_t> padded = {1, 2, 3, 4, 99, 99, 5, 6, 7, 8, 99, 99};
    pacer.accept({{1, 2}, padded.data(), 6, CastPicture::Order::rgbx, 0});
    begin(60, 6);
    pacer.deliver(0);
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0].stride, 4);
    EXPECT_EQ(std::vector<std::uint8_t>(frames[0].bgra, frames[0].bgra + 8),
              (std::vector<std::uint8_t>{3, 2, 1, 4, 7, 6, 5, 8}));
}

} // namespace
} // namespace glintro
