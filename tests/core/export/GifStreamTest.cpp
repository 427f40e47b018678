// GIFs of made-up pictures, decoded by FFmpeg and held against the pictures.

#include <functional>
#include <numeric>
#include <random>
#include <set>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "core/export/GifStream.h"
#include "tests/core/export/GifReading.h"
#include "tests/core/media/FileSizeLimit.h"
#include "tests/support/Pictures.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

using test::Rgb;
using Painter = std::function<Rgb(int x, int y, int frame)>;

Picture paint(PixelSize size, int frame, const Painter& pixel) {
    auto buffer = std::make_shared<PictureBuffer>(PixelLayout::rgb444, size);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) {
            const Rgb rgb = pixel(x, y, frame);
            buffer->plane(0).row(y)[x] = static_cast<std::uint8_t>(rgb.red);
            buffer->plane(1).row(y)[x] = static_cast<std::uint8_t>(rgb.green);
            buffer->plane(2).row(y)[x] = static_cast<std::uint8_t>(rgb.blue);
        }
    Picture picture = std::as_const(*buffer).view();
    picture.storage = std::move(buffer);
    return picture;
}

std::vector<std::string> writeAndDecode(PixelSize size, int frames, const Painter& pixel,
                                        const std::filesystem::path& file) {
    auto gif = GifStream::create(file, size, 12);
    EXPECT_TRUE(gif);
    for (int i = 0; i < frames; ++i) EXPECT_TRUE((*gif)->add(paint(size, i, pixel), FrameChange::drawn));
    const auto finished = (*gif)->finish(frames);
    EXPECT_TRUE(finished) << finished.error().message;
    return test::decodeGif(file, size);
}

// Exactly `count` colours, well apart, then moved on with every frame.
Painter colours(int count, int width) {
    return [count, width](int x, int y, int frame) {
        const int n = (x + y * width + frame * 3) % count;
        return Rgb{n % 8 * 36, n / 8 % 8 * 36, n / 64 * 40};
    };
}

Painter photograph() {
    return [](int x, int y, int frame) {
        const double wave = std::sin(x * 0.05 + frame * 0.3) + std::cos(y * 0.07);
        return Rgb{static_cast<int>(127 + 60 * wave), 100 + y, 40 + x};
    };
}

TEST(GifStream, ShowsEveryFrameAsItWasDrawn) {
    struct Row {
        const char* name;
        PixelSize size;
        int frames;
        Painter pixel;
        double mean; // steps of a channel that frames may be off
        int most;
    };
    const Row rows[] = {
        {"one pixel", {1, 1}, 3, colours(7, 1), 0, 0},
        {"one column", {1, 9}, 3, colours(9, 1), 0, 0},
        {"one row", {9, 1}, 3, colours(9, 9), 0, 0},
        {"tiny", {2, 2}, 5, colours(3, 2), 0, 0},
        {"odd", {33, 17}, 4, colours(100, 33), 0, 0},
        {"one colour", {40, 30}, 3, colours(1, 40), 0, 0},
        {"two colours", {40, 30}, 3, colours(2, 40), 0, 0},
        {"255 colours", {40, 30}, 3, colours(255, 40), 0, 0},
        {"256 colours", {40, 30}, 3, colours(256, 40), 1, 40},
        {"257 colours", {40, 30}, 3, colours(257, 40), 1, 40},
        {"photograph", {150, 100}, 6, photograph(), 4, 30},
    };
    const TemporaryFolder folder;
    for (const Row& row : rows) {
        const auto shown = writeAndDecode(row.size, row.frames, row.pixel, folder / "a.gif");
        const test::GifFacts facts = test::readGif(folder / "a.gif");
        EXPECT_EQ(facts.size, row.size) << row.name;
        EXPECT_EQ(facts.loops, 0) << row.name;
        EXPECT_TRUE(facts.whole) << row.name;
        ASSERT_EQ(shown.size(), static_cast<std::size_t>(row.frames)) << row.name;
        for (int i = 0; i < row.frames; ++i) {
            const auto apart = test::distance(shown[static_cast<std::size_t>(i)],
                                              test::bytesOf(paint(row.size, i, row.pixel)));
            EXPECT_LE(apart.mean, row.mean) << row.name << ", frame " << i;
            EXPECT_LE(apart.most, row.most) << row.name << ", frame " << i;
        }
    }
}

// A box of many colours moves over a smooth backdrop with a little noise: wherever it is not, and was not in
// the frame before, nothing may move.
TEST(GifStream, LeavesStillAreasAsTheyAre) {
    constexpr PixelSize kSize{160, 90};
    constexpr int kBox = 40;
    const auto inBox = [](int x, int y, int frame) {
        return x >= 5 * frame && x < 5 * frame + kBox && y >= 20 && y < 20 + kBox;
    };
    const Painter pixel = [&](int x, int y, int frame) {
        if (inBox(x, y, frame)) return Rgb{(x * 7 + frame * 13) % 256, (y * 11) % 256, (x * y) % 256};
        return Rgb{40 + x, 200 - y, 150 + (x * 31 + y * 17 + frame * 101) % 2};
    };
    const TemporaryFolder folder;
    const auto shown = writeAndDecode(kSize, 20, pixel, folder / "a.gif");
    ASSERT_EQ(shown.size(), 20U);
    int moved = 0;
    for (int frame = 1; frame < 20; ++frame)
        for (int y = 0; y < kSize.height; ++y)
            for (int x = 0; x < kSize.width; ++x) {
                const auto at = static_cast<std::size_t>(y * kSize.width + x) * 3;
                if (inBox(x, y, frame) || inBox(x, y, frame - 1)) continue;
                moved += shown[frame].compare(at, 3, shown[frame - 1], at, 3) != 0;
            }
    EXPECT_EQ(moved, 0);
}

TEST(GifStream, StillPicturesCostNextToNothing) {
    const TemporaryFolder folder;
    const auto shown = writeAndDecode(
        {150, 100}, 20, [](int x, int y, int) { return photograph()(x, y, 0); }, folder / "a.gif");
    ASSERT_EQ(shown.size(), 20U);
    EXPECT_EQ(std::set<std::string>(shown.begin(), shown.end()).size(), 1U);
    const test::GifFacts facts = test::readGif(folder / "a.gif");
    for (std::size_t i = 1; i < facts.areas.size(); ++i) EXPECT_EQ(facts.areas[i], (PixelRect{0, 0, 1, 1}));
}

TEST(GifStream, RepeatsTheLastFrameUpToTheTotal) {
    const TemporaryFolder folder;
    const PixelSize size{20, 10};
    std::vector<std::int64_t> reported;
    auto gif = GifStream::create(folder / "a.gif", size, 15,
                                 [&](const Picture&, std::int64_t written) { reported.push_back(written); });
    ASSERT_TRUE(gif);
    ASSERT_TRUE((*gif)->add(paint(size, 0, colours(5, 20)), FrameChange::drawn));
    ASSERT_TRUE((*gif)->add(paint(size, 1, colours(5, 20)), FrameChange::drawn));
    ASSERT_TRUE((*gif)->add(paint(size, 1, colours(5, 20)), FrameChange::repeated));
    ASSERT_TRUE((*gif)->finish(9));
    EXPECT_EQ(reported, (std::vector<std::int64_t>{1, 2, 3}));
    const auto shown = test::decodeGif(folder / "a.gif", size);
    ASSERT_EQ(shown.size(), 9U);
    EXPECT_NE(shown[0], shown[1]);
    for (std::size_t i = 2; i < 9; ++i) EXPECT_EQ(shown[i], shown[1]);
    const auto delays = test::readGif(folder / "a.gif").delays;
    EXPECT_EQ(std::accumulate(delays.begin(), delays.end(), 0), 60);
}

TEST(GifStream, SaysThatTheFileCannotGrowWheneverThatHappens) {
    const TemporaryFolder folder;
    const PixelSize size{64, 64};
    std::mt19937 random(1);
    const auto noise = [&](int, int, int) { return Rgb{static_cast<int>(random() % 256), 0, 0}; };
    for (const rlim_t bytes : {0U, 10U, 3000U, 20000U, 39000U}) {
        const test::FileSizeLimit limit(bytes);
        auto gif = GifStream::create(folder / "a.gif", size, 12);
        Result<void> result;
        for (int i = 0; i < 10 && gif && result; ++i)
            result = (*gif)->add(paint(size, i, noise), FrameChange::drawn);
        if (gif && result) result = (*gif)->finish(10);
        ASSERT_TRUE(gif) << bytes;
        ASSERT_FALSE(result) << bytes;
        EXPECT_EQ(result.error().message, "Couldn’t finish the GIF.");
        EXPECT_EQ(result.error().nativeCode, EFBIG);
    }
}

TEST(GifStream, RefusesRatesThatViewersDoNotKeepAndCanvasesThatGifsDoNotHave) {
    const TemporaryFolder folder;
    for (const int fps : {-1, 0, 51, 60, 1000})
        EXPECT_FALSE(GifStream::create(folder / "a.gif", {10, 10}, fps)) << fps;
    for (const PixelSize size : {PixelSize{0, 10}, {10, -1}, {65536, 1}})
        EXPECT_FALSE(GifStream::create(folder / "a.gif", size, 12)) << size.width << " x " << size.height;
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    EXPECT_TRUE(GifStream::create(folder / "a.gif", {10, 10}, 50));
}

RC_GTEST_PROP(GifDelay, NeverDriftsByAHundredth, ()) {
    const auto fps = *rc::gen::inRange(1, 51);
    const auto frames = *rc::gen::inRange(1, 2000);
    std::int64_t sum = 0;
    for (int i = 0; i < frames; ++i) {
        RC_ASSERT(gifDelay(i, fps) >= 2);
        sum += gifDelay(i, fps);
    }
    RC_ASSERT(sum * fps <= std::int64_t{frames} * 100);
    RC_ASSERT((sum + 1) * fps > std::int64_t{frames} * 100);
}

} // namespace
} // namespace glintro
