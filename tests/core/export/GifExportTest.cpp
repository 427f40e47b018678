// Whole GIF exports of small real reels, read back by other programs.

#include <random>

#include <gtest/gtest.h>

#include "core/export/Exporter.h"
#include "tests/core/export/GifReading.h"
#include "tests/support/Reels.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using test::makeReel;

ExportRequest gifRequest(const Project& project, const fs::path& to) {
    ExportRequest request{.project = project, .settings = project.info.settings, .options = {}, .to = to};
    request.options = {.format = ExportFormat::gif, .gifWidth = 160, .gifFPS = 12};
    return request;
}

TEST(GifExport, WritesAGifThatOtherProgramsReadAsIntended) {
    const TemporaryFolder folder;
    const auto reel = makeReel(folder / "reel", {.frames = 61});
    ASSERT_TRUE(reel);
    ExportRequest request = gifRequest(*reel, folder / "out.gif");
    std::vector<double> fractions;
    std::vector<int> previews;
    request.progress = [&](const ExportProgress& progress) { fractions.push_back(progress.fraction); };
    request.onFrame = [&](const ExportFrame& frame) {
        previews.push_back(frame.index);
        EXPECT_EQ(frame.total, 25);
    };
    const auto result = Exporter::run(request);
    ASSERT_TRUE(result) << result.error().message;

    const test::GifFacts gif = test::readGif(request.to);
    EXPECT_EQ(gif.size, (PixelSize{160, 90}));
    ASSERT_EQ(gif.delays.size(), 25U); // 2.033 s at 12 frames a second
    EXPECT_EQ((std::vector<int>(gif.delays.begin(), gif.delays.begin() + 4)), (std::vector{8, 8, 9, 8}));
    EXPECT_EQ(gif.loops, 0);

    EXPECT_TRUE(std::ranges::is_sorted(fractions));
    ASSERT_EQ(fractions.size(), 26U);
    EXPECT_EQ(fractions[25], 1);
    EXPECT_EQ(fractions[24], 0.99);
    EXPECT_EQ(previews, (std::vector{1, 4, 7, 10, 13, 16, 19, 22, 25}));
}

TEST(GifExport, HasAFrameForEveryMomentOfAnyReel) {
    struct Row {
        const char* name;
        test::MovieRecipe movie;
        std::size_t frames;
    };
    const Row rows[] = {
        {"shorter than a frame", {.frames = 1}, 1},
        {"still",
         {.frames = 60,
          .colour =
              [](int) {
                  return test::Rgb{90, 20, 160};
              }},
         24},
        {"noisy", {.frames = 30, .grain = true}, 12},
    };
    const TemporaryFolder folder;
    for (const Row& row : rows) {
        const auto reel = makeReel(folder / row.name, row.movie);
        ASSERT_TRUE(reel);
        const auto result = Exporter::run(gifRequest(*reel, folder / "out.gif"));
        ASSERT_TRUE(result) << row.name << ": " << result.error().message;
        EXPECT_EQ(test::readGif(folder / "out.gif").delays.size(), row.frames) << row.name;
        EXPECT_EQ(test::decodeGif(folder / "out.gif", {160, 90}).size(), row.frames) << row.name;
    }
}

// The previews are the frames as they were drawn, and come with every third one.
TEST(GifExport, ShowsTheFramesThatWereDrawn) {
    const TemporaryFolder folder;
    const auto reel = makeReel(folder / "reel", {.frames = 45, .grain = true});
    ASSERT_TRUE(reel);
    ExportRequest request = gifRequest(*reel, folder / "out.gif");
    std::vector<std::string> drawn;
    request.onFrame = [&](const ExportFrame& frame) {
        std::string bytes;
        for (std::size_t i = 0; i < frame.image.pixels.size(); i += 4)
            for (const std::size_t channel : {2U, 1U, 0U})
                bytes += static_cast<char>(frame.image.pixels[i + channel]);
        drawn.push_back(std::move(bytes));
    };
    ASSERT_TRUE(Exporter::run(request));
    const auto shown = test::decodeGif(request.to, {160, 90});
    ASSERT_EQ(shown.size(), 18U);
    ASSERT_EQ(drawn.size(), 6U);
    for (std::size_t i = 0; i < drawn.size(); ++i) {
        const auto apart = test::distance(shown[3 * i], drawn[i]);
        EXPECT_LE(apart.mean, 3) << "frame " << 3 * i;
        EXPECT_LE(apart.most, 40) << "frame " << 3 * i;
    }
}

TEST(GifExport, LeavesNothingWhenItIsCancelledAnywhere) {
    const TemporaryFolder folder;
    const auto reel = makeReel(folder / "reel", {});
    ASSERT_TRUE(reel);
    fs::create_directory(folder / "out");
    std::mt19937 random(7);
    for (int round = 0; round < 8; ++round) {
        const int last = static_cast<int>(random() % 24);
        ExportRequest request = gifRequest(*reel, folder / "out" / "a.gif");
        int written = 0;
        request.progress = [&](const ExportProgress& progress) {
            written = progress.written;
            if (progress.written == last) request.cancel->cancel();
        };
        if (last == 0) request.cancel->cancel();
        const auto result = Exporter::run(request);
        ASSERT_FALSE(result) << last;
        EXPECT_TRUE(result.error().isCancelled());
        EXPECT_EQ(written, last);
        EXPECT_TRUE(fs::is_empty(folder / "out"));
    }
}

TEST(GifExport, FailsCleanlyWhereTheFolderGoesAway) {
    const TemporaryFolder folder;
    const auto reel = makeReel(folder / "reel", {});
    ASSERT_TRUE(reel);
    ExportRequest request = gifRequest(*reel, folder / "out" / "a.gif");
    request.progress = [&](const ExportProgress& progress) {
        if (progress.written == 5) fs::remove_all(folder / "out");
    };
    EXPECT_FALSE(Exporter::run(request));
    EXPECT_FALSE(fs::exists(folder / "out"));
}

TEST(GifExport, RefusesACanvasThatIsTooLarge) {
    const TemporaryFolder folder;
    const auto reel = makeReel(folder / "reel", {.frames = 2});
    ASSERT_TRUE(reel);
    ExportRequest request = gifRequest(*reel, folder / "a.gif");
    request.options.gifWidth = 4098;
    EXPECT_FALSE(Exporter::run(request));
    request.options.gifWidth = 1;
    ASSERT_TRUE(Exporter::run(request));
    EXPECT_EQ(test::readGif(request.to).size, (PixelSize{2, 2}));
}

} // namespace
} // namespace glintro
