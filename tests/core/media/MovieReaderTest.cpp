#include <algorithm>
#include <cmath>
#include <fstream>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "core/media/decode/MovieReader.h"
#include "core/raster/Convert.h"
#include "tests/core/media/MediaTools.h"
#include "tests/support/Pictures.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

using test::ffmpeg;
using test::frameNumber;
using test::kNumberedGraph;
using test::makeMovie;
using test::Rgb;

using Words = std::vector<std::string>;

Words operator+(Words first, const Words& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const Words kX264{"-c:v", "libx264", "-preset", "ultrafast", "-qp", "4"};
const Words kX265{"-c:v", "libx265", "-preset", "ultrafast", "-x265-params", "log-level=none:qp=4"};
const Words kVp9{"-c:v", "libvpx-vp9", "-cpu-used", "8", "-crf", "4", "-b:v", "0"};
const Words kAv1{"-c:v", "libaom-av1", "-cpu-used", "8", "-crf", "6", "-b:v", "0"};
const Words k709{"-colorspace", "bt709"};

// Four coloured quarters, top left to bottom right.
constexpr Rgb kPatches[] = {{0xC0, 0x20, 0x40}, {0x20, 0xB0, 0x60}, {0x30, 0x40, 0xD0}, {0xE0, 0xE0, 0x20}};
const std::string kPatchGraph =
    "color=c=0xC02040:s=160x96:r=10:d=0.3,format=gbrp,drawbox=80:0:80:48:color=0x20B060:t=fill,"
    "drawbox=0:48:80:48:color=0x3040D0:t=fill,drawbox=80:48:80:48:color=0xE0E020:t=fill";

struct FormatRow {
    std::string file;
    std::string filter;
    Words encoding;
    PixelSize naturalSize{160, 96};
    std::array<int, 4> patches{0, 1, 2, 3}; // seen at top left, top right, bottom left, bottom right
    Words container = {}; // how the encoded track is put into the file, when in a second step
};

std::vector<FormatRow> formatRows() {
    const std::string hd = "zscale=m=709:r=limited,format=";
    const std::string tv = "zscale=m=170m:r=limited,format=";
    const std::string smallCrop = "crop=159:95:0:0:exact=1,";
    return {
        {"h264.mp4", hd + "yuv420p", kX264 + k709},
        {"h264-601.mov", tv + "yuv420p", kX264 + Words{"-colorspace", "smpte170m"}},
        {"h264-untagged.mkv", tv + "yuv420p", kX264},
        {"h264-full.mp4", "zscale=m=709:r=full,format=yuv420p", kX264 + k709 + Words{"-color_range", "pc"}},
        {"h264-422.mkv", hd + "yuv422p", kX264 + k709},
        {"h264-444-10.mkv", hd + "yuv444p10", kX264 + k709},
        {"h264-rgb.mkv", "format=bgr24", {"-c:v", "libx264rgb", "-preset", "ultrafast", "-qp", "0"}},
        {"hevc.mov", hd + "yuv420p", kX265 + k709 + Words{"-tag:v", "hvc1"}},
        {"hevc-10.mp4", hd + "yuv420p10", kX265 + k709},
        {"hevc-2020.mkv", "zscale=m=2020_ncl:r=limited,format=yuv420p10",
         kX265 + Words{"-colorspace", "bt2020nc"}},
        {"vp9-10.webm", hd + "yuv420p10", kVp9 + k709 + Words{"-profile:v", "2"}},
        {"av1-10.mkv", hd + "yuv420p10", kAv1 + k709},
        {"mpeg4.avi", tv + "yuv420p", {"-c:v", "mpeg4", "-q:v", "1", "-bf", "2"}},
        {"raw.avi", "format=bgr24", {"-c:v", "rawvideo"}},
        {"odd.mkv", smallCrop + hd + "yuv444p,scale=159:95,format=yuv420p", kVp9 + k709, {159, 95}},
        {"odd-601.webm",
         smallCrop + tv + "yuv444p,scale=159:95,format=yuv420p",
         kVp9 + Words{"-colorspace", "smpte170m"},
         {159, 95}},
        {"odd-444.mp4", smallCrop + hd + "yuv444p", kX264 + k709, {159, 95}},
        {"wide-pixels.mp4", hd + "yuv420p,setsar=4/3", kX264 + k709, {213, 96}},
        {"turned-90.mp4",
         hd + "yuv420p",
         kX264 + k709,
         {96, 160},
         {1, 3, 0, 2},
         {"-metadata:s:v", "rotate=90"}},
        {"turned-180.mov",
         hd + "yuv420p",
         kX264 + k709,
         {160, 96},
         {3, 2, 1, 0},
         {"-metadata:s:v", "rotate=180"}},
        {"turned-270.mp4",
         hd + "yuv420p",
         kX264 + k709,
         {96, 160},
         {2, 0, 3, 1},
         {"-metadata:s:v", "rotate=270"}},
    };
}

void expectPatch(const Picture& picture, int quarter, Rgb colour, int tolerance) {
    const PlaneColour expected =
        planeColour(PixelLayout::yuv420, static_cast<float>(colour.red) / 255.0F,
                    static_cast<float>(colour.green) / 255.0F, static_cast<float>(colour.blue) / 255.0F);
    for (std::size_t i = 0; i < 3; ++i) {
        const PlaneView& plane = picture.planes[i];
        const int x = plane.width * (1 + 2 * (quarter % 2)) / 4;
        const int y = plane.height * (1 + 2 * (quarter / 2)) / 4;
        EXPECT_NEAR(plane.row(y)[x], expected.values[i], tolerance)
            << "quarter " << quarter << " plane " << i;
    }
}

TEST(MovieReader, BringsEveryFormatToTheOneForm) {
    const TemporaryFolder folder;
    for (const FormatRow& row : formatRows()) {
        SCOPED_TRACE(row.file);
        const auto file = folder / row.file;
        const auto plain = row.container.empty() ? file : folder / ("plain-" + row.file);
        makeMovie(kPatchGraph, row.filter, row.encoding, plain);
        if (!row.container.empty()) ffmpeg(Words{"-i", plain.string(), "-c", "copy"} + row.container, file);
        for (const auto access : {MovieReader::Access::sequential, MovieReader::Access::single}) {
            auto reader = MovieReader::open(file, access);
            ASSERT_TRUE(reader) << reader.error().message << " " << reader.error().detail;
            EXPECT_EQ((*reader)->properties().naturalSize, row.naturalSize);
            EXPECT_NEAR((*reader)->properties().duration, 0.3, 0.002);
            const auto frame = (*reader)->frameAt(0.15);
            ASSERT_TRUE(frame) << frame.error().message << " " << frame.error().detail;
            EXPECT_EQ(frame->picture->size, row.naturalSize);
            EXPECT_NEAR(frame->time, 0.1, 0.001);
            for (int quarter = 0; quarter < 4; ++quarter) {
                expectPatch(*frame->picture, quarter,
                            kPatches[row.patches[static_cast<std::size_t>(quarter)]], 2);
            }
        }
    }
}

// Chroma that rises by four levels a pixel, to the right or downwards: half a pixel of misplacement is two
// levels.
TEST(MovieReader, PutsChromaWhereItBelongs) {
    struct Row {
        std::string name;
        std::string format;
        Words tags;
    };
    const Row rows[] = {
        {"left", "zscale=chromal=left,format=yuv420p", {"-chroma_sample_location", "left"}},
        {"centre", "zscale=chromal=center,format=yuv420p", {"-chroma_sample_location", "center"}},
        {"topleft", "zscale=chromal=topleft,format=yuv420p", {"-chroma_sample_location", "topleft"}},
        {"4:2:2", "zscale=chromal=left,format=yuv422p", {}},
        {"4:4:4", "format=yuv444p", {}},
    };
    const TemporaryFolder folder;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const auto file = folder / "siting.mkv";
        makeMovie(
            "nullsrc=s=48x48:r=10:d=0.1,format=yuv444p,geq=lum=128:cb='32+4*X':cr='32+4*Y'", row.format,
            Words{"-c:v", "libx264", "-qp", "0", "-colorspace", "bt709", "-color_range", "tv"} + row.tags,
            file);
        auto reader = MovieReader::open(file);
        ASSERT_TRUE(reader) << reader.error().message;
        const auto frame = (*reader)->frameAt(0);
        ASSERT_TRUE(frame) << frame.error().message;
        for (int i = 3; i < 21; ++i) {
            // Chroma column i lies at luma column 2i, chroma row i between luma rows 2i and 2i + 1.
            EXPECT_NEAR(frame->picture->planes[1].row(10)[i], 32 + 4 * (2 * i), 1) << i;
            EXPECT_NEAR(frame->picture->planes[2].row(i)[10], 32 + 4 * (2 * i + 0.5), 1) << i;
        }
    }
}

struct TimingRow {
    std::string file;
    std::string filter;
    Words encoding;
    std::vector<int> frames; // numbers of those the file holds, ascending
    Words container = {};
};

std::vector<int> numbers(int first, int end, int step = 1) {
    std::vector<int> result;
    for (int n = first; n < end; n += step) result.push_back(n);
    return result;
}

std::vector<TimingRow> timingRows() {
    const Words bFrames{"-c:v", "libx264", "-qp", "6", "-bf", "3", "-g", "25", "-colorspace", "bt709"};
    const Words variable{"-vsync", "vfr"};
    std::vector<int> sparse = numbers(0, 20);
    sparse.insert(sparse.end(), {20, 60, 90, 91, 92, 99});
    return {
        {"plain.mp4", "null", bFrames, numbers(0, 100)},
        {"open.mkv", "null", bFrames + Words{"-x264-params", "open-gop=1"}, numbers(0, 100)},
        {"hevc.mp4", "null", kX265 + Words{"-g", "25"}, numbers(0, 100)},
        {"mpeg4.avi", "null", {"-c:v", "mpeg4", "-q:v", "1", "-g", "25"}, numbers(0, 100)},
        {"thirds.mp4", "select='not(mod(n,3))'", bFrames + variable, numbers(0, 100, 3)},
        {"sparse.mp4", "select='lte(n,20)+eq(n,60)+between(n,90,92)+eq(n,99)'", bFrames + variable, sparse},
        {"sparse.mkv", "select='lte(n,20)+eq(n,60)+between(n,90,92)+eq(n,99)'", bFrames + variable, sparse},
        {"late.mp4", "null", bFrames, numbers(0, 100), {"-output_ts_offset", "2.5"}},
        {"fragments.mp4", "null", bFrames, numbers(0, 100), {"-movflags", "frag_keyframe+empty_moov"}},
    };
}

TEST(MovieReader, ShowsTheFrameOfEveryTimeInAnyOrder) {
    const TemporaryFolder folder;
    for (const TimingRow& row : timingRows()) {
        SCOPED_TRACE(row.file);
        const auto file = folder / row.file;
        const auto plain = row.container.empty() ? file : folder / ("plain-" + row.file);
        makeMovie(kNumberedGraph, row.filter, row.encoding, plain);
        if (!row.container.empty()) ffmpeg(Words{"-i", plain.string(), "-c", "copy"} + row.container, file);
        auto reader = MovieReader::open(file);
        ASSERT_TRUE(reader) << reader.error().message;
        EXPECT_NEAR((*reader)->properties().duration, (row.frames.back() + 1) / 25.0, 0.041);

        std::vector<int> order = numbers(0, 100);
        order.resize(150);
        std::mt19937 random(7);
        std::generate(order.begin() + 100, order.end(), [&] { return static_cast<int>(random() % 100); });
        for (const int wanted : order) {
            const auto frame = (*reader)->frameAt(wanted / 25.0 + 0.01);
            ASSERT_TRUE(frame) << frame.error().message;
            const int expected = *(std::ranges::upper_bound(row.frames, wanted) - 1);
            ASSERT_EQ(frameNumber(*frame->picture), expected) << "at frame " << wanted;
            ASSERT_NEAR(frame->time, expected / 25.0, 0.001);
        }
        for (const int wanted : {99, 37, 0}) {
            auto single = MovieReader::open(file, MovieReader::Access::single);
            ASSERT_TRUE(single);
            const auto frame = (*single)->frameAt(wanted / 25.0 + 0.01);
            ASSERT_TRUE(frame) << frame.error().message;
            EXPECT_EQ(frameNumber(*frame->picture), *(std::ranges::upper_bound(row.frames, wanted) - 1))
                << wanted;
        }
    }
}

TEST(MovieReader, BeginsAnEditedMovieAtItsFirstShownFrame) {
    const TemporaryFolder folder;
    makeMovie(kNumberedGraph, "null", {"-c:v", "libx264", "-qp", "6", "-g", "25", "-colorspace", "bt709"},
              folder / "all.mp4");
    ffmpeg({"-ss", "1.28", "-i", (folder / "all.mp4").string(), "-c", "copy"}, folder / "edited.mp4");
    auto reader = MovieReader::open(folder / "edited.mp4");
    ASSERT_TRUE(reader) << reader.error().message;
    EXPECT_NEAR((*reader)->properties().duration, 2.72, 0.041);
    for (int n = 0; n < 68; n += 3) {
        const auto frame = (*reader)->frameAt(n / 25.0 + 0.02);
        ASSERT_TRUE(frame);
        EXPECT_EQ(frameNumber(*frame->picture), 32 + n);
    }
}

TEST(MovieReader, HoldsTheFirstAndLastFrameAndSharesEqualOnes) {
    const TemporaryFolder folder;
    makeMovie(kNumberedGraph, "null", kX264 + k709, folder / "movie.mp4");
    auto reader = MovieReader::open(folder / "movie.mp4");
    ASSERT_TRUE(reader);
    const auto at = [&](Seconds time) { return (*reader)->frameAt(time).value().picture; };
    EXPECT_EQ(frameNumber(*at(-1e300)), 0);
    EXPECT_EQ(frameNumber(*at(std::nan(""))), 0);
    EXPECT_EQ(frameNumber(*at(1e300)), 99);
    EXPECT_EQ(at(2.0), at(2.039));
    // Times rounded down by up to half a millisecond still mean the frame that starts there.
    EXPECT_EQ(frameNumber(*at(50 / 25.0 - 0.0004)), 50);
    EXPECT_EQ(frameNumber(*at(50 / 25.0 - 0.0006)), 49);
}

TEST(MovieReader, SaysInOneSentenceWhyAFileCannotBeOpened) {
    const TemporaryFolder folder;
    ffmpeg({"-f", "lavfi", "-i", "sine=d=1"}, folder / "sound.m4a");
    ffmpeg({"-f", "lavfi", "-i", "color=s=16x16:d=0.04"}, folder / "picture.png");
    std::ofstream(folder / "empty.mp4");
    ASSERT_EQ(::mkfifo((folder / "pipe.mp4").c_str(), 0600), 0);
    std::mt19937 random(1);
    std::ofstream noise(folder / "noise.mp4", std::ios::binary);
    for (int i = 0; i < 20000; ++i) noise.put(static_cast<char>(random()));
    noise.close();

    const std::string damaged = "The movie can’t be opened: it is damaged or not a movie.";
    const std::pair<std::string, std::string> rows[] = {
        {"absent.mp4", "There is no such movie file."},
        {".", "The movie can’t be opened: it is a folder."},
        {"sound.m4a", "The recording has no video track."},
        {"picture.png", damaged},
        {"empty.mp4", damaged},
        {"pipe.mp4", damaged},
        {"noise.mp4", damaged},
    };
    for (const auto& [name, message] : rows) {
        const auto reader = MovieReader::open(folder / name);
        ASSERT_FALSE(reader) << name;
        EXPECT_EQ(reader.error().message, message) << name;
    }
}

// Cut at any byte: opening fails where the header is missing or an index tells what else is; without an index
// frames come until the data ends and then a failure, or so little is missing that the movie plays to its
// end.
TEST(MovieReader, ReportsMissingDataRatherThanRepeatingAFrame) {
    const TemporaryFolder folder;
    const Words encoding{"-c:v", "libx264", "-qp", "10", "-g", "25"};
    makeMovie("testsrc2=s=128x96:r=25:d=8", "format=yuv420p", encoding + Words{"-movflags", "faststart"},
              folder / "whole.mp4");
    makeMovie("testsrc2=s=128x96:r=25:d=8", "format=yuv420p", encoding, folder / "whole.mkv");
    std::mt19937 random(11);
    for (const std::string name : {"whole.mp4", "whole.mkv"}) {
        const auto size = std::filesystem::file_size(folder / name);
        for (int cut = 0; cut < 12; ++cut) {
            const auto bytes = cut == 0 ? size / 2 : random() % size;
            SCOPED_TRACE(name + " cut at " + std::to_string(bytes));
            const auto file = folder / ("cut-" + name);
            std::filesystem::copy_file(folder / name, file,
                                       std::filesystem::copy_options::overwrite_existing);
            std::filesystem::resize_file(file, bytes);
            auto reader = MovieReader::open(file);
            EXPECT_FALSE(reader && name == "whole.mp4");
            if (!reader) continue;
            EXPECT_NEAR((*reader)->properties().duration, 8, 0.5);
            const auto last = (*reader)->frameAt(7.99);
            if (bytes < size * 9 / 10) {
                ASSERT_FALSE(last);
                EXPECT_EQ(last.error().message, "Couldn’t read the recording.");
            }
            if (bytes > size / 2) {
                EXPECT_TRUE((*reader)->frameAt(1));
            }
        }
    }
}

TEST(MovieReader, GoesOnAfterDamagedPackets) {
    const TemporaryFolder folder;
    makeMovie("testsrc2=s=128x96:r=25:d=4", "format=yuv420p", {"-c:v", "libx264", "-qp", "10", "-g", "25"},
              folder / "movie.mp4");
    std::fstream file(folder / "movie.mp4", std::ios::in | std::ios::out | std::ios::binary);
    const auto middle = static_cast<std::streamoff>(std::filesystem::file_size(folder / "movie.mp4") / 2);
    file.seekp(middle);
    for (int i = 0; i < 4000; ++i) file.put(static_cast<char>(i * 89));
    file.close();
    auto reader = MovieReader::open(folder / "movie.mp4");
    ASSERT_TRUE(reader);
    for (int n = 0; n < 100; ++n) ASSERT_TRUE((*reader)->frameAt(n / 25.0)) << n;
    EXPECT_NEAR((*reader)->frameAt(3.99)->time, 3.96, 0.001);
}

} // namespace
} // namespace glintro
