// What an editor asks a movie reader for: tolerances, sizes, cancelling, and a cache that is bounded.

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "core/media/decode/MovieReader.h"
#include "tests/core/media/MediaTools.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

using test::ffmpeg;
using test::lumaAt;
using test::makeMovie;
using Words = std::vector<std::string>;

constexpr int kFrames = 100;
constexpr int kKeySpacing = 20;
constexpr double kRate = 25;

// Every twentieth of the numbered frames is a key frame.
class NumberedMovie : public testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        const std::string parameters =
            std::string("keyint=20:min-keyint=20:scenecut=0:bframes=") + (bFrames() ? "3" : "0");
        makeMovie(test::kNumberedGraph, "null",
                  {"-c:v", "libx264", "-qp", "6", "-x264-params", parameters, "-colorspace", "bt709"},
                  file());
    }
    bool bFrames() const { return std::string(GetParam()).starts_with("b"); }
    std::filesystem::path file() const { return folder_ / (std::string("movie.") + (GetParam() + 2)); }
    std::unique_ptr<MovieReader> open(std::size_t cacheBytes, int threads = 0) const {
        auto reader = MovieReader::open(file(), {.threads = threads, .cacheBytes = cacheBytes});
        EXPECT_TRUE(reader) << reader.error().message;
        return reader ? std::move(*reader) : nullptr;
    }
    static Seconds timeOf(int frame) { return frame / kRate + 0.01; }
    static int numberOf(const MovieFrame& frame) { return test::frameNumber(*frame.picture); }

  private:
    TemporaryFolder folder_;
};
INSTANTIATE_TEST_SUITE_P(Containers, NumberedMovie, testing::Values("b-mp4", "p-mov", "b-mkv"));

TEST_P(NumberedMovie, KeepsWithinTheToleranceInAnyOrder) {
    for (const std::size_t cacheBytes : {std::size_t{0}, std::size_t{100'000}, std::size_t{100'000'000}}) {
        auto reader = open(cacheBytes, 3);
        std::mt19937 random(5);
        for (int i = 0; i < 200; ++i) {
            const int wanted = static_cast<int>(random() % kFrames);
            const auto tolerance = static_cast<FrameTolerance>(random() % 3);
            const auto frame = reader->frame({.time = timeOf(wanted), .tolerance = tolerance});
            ASSERT_TRUE(frame) << frame.error().message;
            const int number = numberOf(*frame);
            EXPECT_NEAR(frame->time, number / kRate, 0.001);
            const int off = std::abs(number - wanted);
            const int toKey = std::min(wanted % kKeySpacing, kKeySpacing - wanted % kKeySpacing);
            const bool isLastGroup = wanted > kFrames - kKeySpacing;
            const int allowed = tolerance == FrameTolerance::exact    ? 0
                                : tolerance == FrameTolerance::nearby ? 2
                                : isLastGroup                         ? wanted % kKeySpacing
                                                                      : toKey;
            ASSERT_LE(off, allowed) << "frame " << wanted << " tolerance " << static_cast<int>(tolerance)
                                    << " request " << i;
        }
    }
}

// As fast playback asks: what is left out on the way must never be what is shown.
TEST_P(NumberedMovie, ShowsTheRightFramesInLongSteps) {
    for (const int step : {3, 8, 17}) {
        auto reader = open(0);
        for (int n = 0; n < kFrames; n += step) ASSERT_EQ(numberOf(reader->frameAt(timeOf(n)).value()), n);
    }
}

TEST_P(NumberedMovie, ComesBackToFramesWithoutDecodingThemAgain) {
    auto reader = open(100'000'000);
    std::vector<PicturePtr> pictures;
    const auto at = [&](int n) { return reader->frameAt(timeOf(n)).value().picture; };
    for (int n = 0; n < kFrames; ++n) pictures.push_back(at(n));
    for (int n = kFrames - 1; n >= 0; --n) ASSERT_EQ(at(n), pictures[static_cast<std::size_t>(n)]) << n;
    // Going back into a group of pictures brings the whole of it.
    auto other = open(100'000'000);
    ASSERT_TRUE(other->frameAt(timeOf(99)));
    const MovieFrame middle = other->frameAt(timeOf(59)).value();
    const MovieFrame before = other->frameAt(timeOf(41)).value();
    EXPECT_EQ(other->frameAt(timeOf(59)).value().picture, middle.picture);
    EXPECT_EQ(other->frameAt(timeOf(41)).value().picture, before.picture);
    EXPECT_EQ(numberOf(before), 41);
}

TEST_P(NumberedMovie, KeepsNoMoreThanItsBound) {
    constexpr std::size_t kBound = 100'000; // about ten frames of 64 × 64
    auto reader = open(kBound);
    std::vector<std::weak_ptr<const void>> storages;
    const auto ask = [&](int n) { storages.push_back(reader->frameAt(timeOf(n)).value().picture->storage); };
    for (int n = 0; n < kFrames; ++n) ask(n);
    for (int n = kFrames - 1; n >= 0; --n) ask(n);
    const auto alive =
        std::ranges::count_if(storages, [](const auto& storage) { return !storage.expired(); });
    EXPECT_GE(alive, 4);
    EXPECT_LE(alive, static_cast<int>(kBound / (64 * 64 * 3 / 2)) + 2) << "the current and the next besides";
}

TEST_P(NumberedMovie, IsCancelledAndGoesOn) {
    auto reader = open(0);
    std::stop_source stopped;
    stopped.request_stop();
    for (const auto tolerance : {FrameTolerance::exact, FrameTolerance::nearby, FrameTolerance::keyFrame}) {
        const auto cancelled =
            reader->frame({.time = 3.5, .tolerance = tolerance, .stop = stopped.get_token()});
        ASSERT_FALSE(cancelled);
        EXPECT_TRUE(cancelled.error().isCancelled());
    }
    std::mt19937 random(3);
    for (int i = 0; i < 60; ++i) {
        const int wanted = static_cast<int>(random() % kFrames);
        std::stop_source stop;
        const std::jthread stopper([&] {
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000));
            stop.request_stop();
        });
        const auto frame = reader->frame({.time = timeOf(wanted), .stop = stop.get_token()});
        ASSERT_TRUE(frame || frame.error().isCancelled()) << frame.error().message;
        if (frame) {
            ASSERT_EQ(numberOf(*frame), wanted);
        }
    }
    EXPECT_EQ(numberOf(reader->frameAt(timeOf(70)).value()), 70);
}

// Luma and chroma rise evenly, so that whatever a reduced picture's samples are, they must lie on the ramp.
TEST(FrameRequest, ReducesPicturesInPlace) {
    struct Row {
        std::string name;
        std::string filter;
        Words encoding;
        PixelSize size;
    };
    const Words lossless{"-c:v", "libx264", "-qp", "0", "-colorspace", "bt709", "-color_range", "tv"};
    const Row rows[] = {
        {"plain", "format=yuv420p", lossless, {40, 20}},
        {"10-bit", "format=yuv420p10", lossless, {40, 20}},
        {"4:4:4", "format=yuv444p", lossless, {40, 20}},
        {"odd", "crop=159:79:0:0:exact=1,format=yuv444p", lossless, {40, 20}},
    };
    const TemporaryFolder folder;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const auto file = folder / "ramp.mkv";
        makeMovie("nullsrc=s=160x80:r=10:d=0.2,format=yuv444p,geq=lum='40+X':cb='60+X/2':cr='90+Y'",
                  row.filter, row.encoding, file);
        auto reader = MovieReader::open(file, MovieReader::Access::single);
        ASSERT_TRUE(reader);
        const auto frame = (*reader)->frame({.time = 0.1, .maxSide = 40});
        ASSERT_TRUE(frame) << frame.error().message << frame.error().detail;
        const Picture& picture = *frame->picture;
        ASSERT_EQ(picture.size, row.size);
        for (int i = 4; i < 36; ++i) EXPECT_NEAR(picture.planes[0].row(10)[i], 40 + 4 * i + 1.5, 1.5) << i;
        for (int i = 3; i < 17; ++i)
            EXPECT_NEAR(picture.planes[1].row(5)[i], 60 + (8 * i + 1.5) / 2, 1.5) << i;
        for (int i = 2; i < 8; ++i) EXPECT_NEAR(picture.planes[2].row(i)[10], 90 + 8 * i + 3.5, 1.5) << i;
        EXPECT_EQ((*reader)->frame({.time = 0.1, .maxSide = 40}).value().picture, frame->picture);
        EXPECT_EQ((*reader)->frame({.time = 0.1, .maxSide = 4000}).value().picture->size,
                  (*reader)->properties().naturalSize);
    }
}

TEST(FrameRequest, ToneMapsHdr) {
    // Codes of 0, 26, 100, 203 and 1000 cd/m² on a display of 1000 cd/m² (ITU-R BT.2100; BT.2408 for white).
    struct Row {
        std::string transfer;
        std::array<int, 5> codes;
    };
    const Row rows[] = {
        {"smpte2084", {64, 397, 509, 573, 723}},
        {"arib-std-b67", {64, 396, 616, 721, 940}},
    };
    const TemporaryFolder folder;
    std::array<std::array<int, 5>, 2> levels{};
    for (std::size_t r = 0; r < std::size(rows); ++r) {
        SCOPED_TRACE(rows[r].transfer);
        const auto& c = rows[r].codes;
        const std::string luma = "if(lt(X,32)," + std::to_string(c[0]) + ",if(lt(X,64),"
                                 + std::to_string(c[1]) + ",if(lt(X,96)," + std::to_string(c[2])
                                 + ",if(lt(X,128)," + std::to_string(c[3]) + "," + std::to_string(c[4])
                                 + "))))";
        const auto file = folder / (rows[r].transfer + ".mp4");
        makeMovie(
            "nullsrc=s=160x64:r=10:d=0.2,format=yuv420p10,geq=lum='" + luma + "':cb=512:cr=512", "null",
            {"-c:v", "libx265", "-preset", "ultrafast", "-x265-params",
             "log-level=none:qp=4:colorprim=bt2020:transfer=" + rows[r].transfer + ":colormatrix=bt2020nc"},
            file);
        auto reader = MovieReader::open(file);
        ASSERT_TRUE(reader);
        for (const int maxSide : {0, 80}) {
            const auto frame = (*reader)->frame({.time = 0, .maxSide = maxSide});
            ASSERT_TRUE(frame) << frame.error().detail;
            const Picture& picture = *frame->picture;
            EXPECT_EQ(picture.size, maxSide == 0 ? (PixelSize{160, 64}) : (PixelSize{80, 32}));
            for (std::size_t i = 0; i < 5; ++i) {
                const double x = (static_cast<double>(i) + 0.5) / 5;
                levels[r][i] = lumaAt(picture, x, 0.5);
                for (const std::size_t plane : {1U, 2U}) {
                    const PlaneView& chroma = picture.planes[plane];
                    EXPECT_NEAR(chroma.row(8)[static_cast<int>(x * chroma.width)], 128, 1);
                }
            }
            EXPECT_NEAR(levels[r][0], 16, 1);
            EXPECT_NEAR(levels[r][1], 107, 10) << "a mid grey stays one";
            EXPECT_NEAR(levels[r][3], 212, 8) << "white is bright, with room above";
            EXPECT_NEAR(levels[r][4], 235, 2);
            EXPECT_TRUE(std::ranges::is_sorted(levels[r]));
        }
    }
    for (std::size_t i = 0; i < 5; ++i) EXPECT_NEAR(levels[0][i], levels[1][i], 4) << i;
}

TEST(FrameRequest, HoldsTheLastPictureWhileSoundGoesOn) {
    const TemporaryFolder folder;
    for (const std::string name : {"talk.mp4", "talk.mov", "talk.mkv"}) {
        SCOPED_TRACE(name);
        ffmpeg({"-f", "lavfi", "-i", "nullsrc=s=64x64:r=25:d=1,format=yuv420p,geq=lum='20+2*N':cb=128:cr=128",
                "-f", "lavfi", "-i", "sine=d=3:r=48000", "-c:v", "libx264", "-qp", "6", "-c:a", "aac"},
               folder / name);
        auto reader = MovieReader::open(folder / name);
        ASSERT_TRUE(reader) << reader.error().message;
        EXPECT_NEAR((*reader)->properties().duration, 3, 0.03);
        for (const Seconds time : {0.99, 1.5, 2.9, 9.0}) {
            const auto frame = (*reader)->frameAt(time);
            ASSERT_TRUE(frame) << frame.error().message << " " << frame.error().detail;
            EXPECT_NEAR(lumaAt(*frame->picture, 0.5, 0.5), 20 + 2 * 24, 1) << time;
        }
    }
}

} // namespace
} // namespace glintro
