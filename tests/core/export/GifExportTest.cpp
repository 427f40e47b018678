// Whole GIF exports of small real reels, read back by other programs.

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

} // namespace
} // namespace glintro
