// Whole exports of small real reels, read back.

#include <cmath>
#include <future>

#include <gtest/gtest.h>

#include "core/base/FileIO.h"
#include "core/export/Exporter.h"
#include "core/media/decode/MovieReader.h"
#include "core/timeline/TimeMap.h"
#include "tests/core/media/MediaTools.h"
#include "tests/support/Files.h"
#include "tests/support/FlashesAndClicks.h"
#include "tests/support/Reels.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using test::makeReel;
using test::MovieRecipe;
using test::namesIn;
using test::probe;
using test::Rgb;

ExportRequest requestFor(const Project& project, const fs::path& to) {
    ExportRequest request{.project = project, .settings = project.info.settings, .options = {}, .to = to};
    request.options.shortSide = 180;
    request.options.fps = 30;
    return request;
}

TEST(Exporter, WritesAMovieThatOtherProgramsReadAsIntended) {
    const TemporaryFolder folder;
    const auto reel = makeReel(folder / "reel", {.sound = std::vector<float>(96000, 0.01F)});
    ASSERT_TRUE(reel);
    ExportRequest request = requestFor(*reel, folder / "new" / "folder" / "out.mp4");
    std::vector<double> fractions;
    std::vector<int> previews;
    request.progress = [&](const ExportProgress& progress) { fractions.push_back(progress.fraction); };
    request.onFrame = [&](const ExportFrame& frame) {
        previews.push_back(frame.index);
        EXPECT_LE(std::max(frame.image.size.width, frame.image.size.height), 640);
        EXPECT_EQ(frame.total, 60);
    };
    const auto result = Exporter::run(request);
    ASSERT_TRUE(result) << result.error().message;

    EXPECT_EQ(probe(request.to, "v", "width"), "320");
    EXPECT_EQ(probe(request.to, "v", "height"), "180");
    EXPECT_EQ(probe(request.to, "v", "r_frame_rate"), "30/1");
    EXPECT_EQ(probe(request.to, "v", "nb_frames"), "60");
    EXPECT_NEAR(std::stod(probe(request.to, "v", "duration")), 2, 1.0 / 30);
    EXPECT_EQ(probe(request.to, "a", "codec_name"), "aac");
    EXPECT_NEAR(std::stod(probe(request.to, "a", "duration")), 2, 0.03);

    ASSERT_FALSE(fractions.empty());
    EXPECT_TRUE(std::ranges::is_sorted(fractions));
    EXPECT_EQ(fractions.back(), 1);
    EXPECT_LE(fractions[fractions.size() - 2], 0.99);
    ASSERT_EQ(previews.size(), 20U);
    EXPECT_EQ(previews[1], 4);
    EXPECT_EQ(namesIn(folder / "new" / "folder"), std::vector<std::string>{"out.mp4"});
}

// White frames and a burst of sound begin together at these source times.
constexpr double kFlashes[] = {0.5, 2.0, 3.5, 5.0, 6.5};

MovieRecipe flashesAndClicks() {
    MovieRecipe recipe{.fps = 60, .frames = 480};
    recipe.colour = [](int frame) {
        for (const double flash : kFlashes)
            if (frame >= flash * 60 && frame < flash * 60 + 6) return Rgb{255, 255, 255};
        return Rgb{};
    };
    recipe.sound.resize(48000 * 8);
    for (const double flash : kFlashes)
        for (int i = 0; i < 2400; ++i)
            recipe.sound[static_cast<std::size_t>(flash * 48000) + static_cast<std::size_t>(i)] =
                0.8F * std::sin(static_cast<float>(i) * 0.13F);
    return recipe;
}

TEST(Exporter, KeepsSoundAndPictureTogetherAfterCutsAndSpeedUps) {
    const TemporaryFolder folder;
    const auto reel = makeReel(folder / "reel", flashesAndClicks());
    ASSERT_TRUE(reel);
    ExportRequest request = requestFor(*reel, folder / "out.mp4");
    request.options.fps = 60;
    request.settings.trimStart = 0.2;
    request.settings.cuts = {{.start = 1.0, .end = 1.503}};
    request.settings.speeds = {{.start = 3.0, .end = 4.2, .rate = 2},
                               {.start = 4.6, .end = 5.4, .rate = 0.5}};
    const auto result = Exporter::run(request);
    ASSERT_TRUE(result) << result.error().message;

    const TimeMap map(request.settings, 8);
    const auto flashes = test::flashesIn(request.to);
    const auto clicks = test::clicksIn(request.to, map.compDuration());
    ASSERT_EQ(flashes.size(), 5U);
    ASSERT_EQ(clicks.size(), 5U);
    for (std::size_t i = 0; i < 5; ++i) {
        const double expected = map.composition(kFlashes[i]);
        EXPECT_NEAR(flashes[i], expected, 1.0 / 60 + 1e-3);
        EXPECT_NEAR(clicks[i], expected, 0.02) << "flash " << i;
    }
}

TEST(Exporter, AFailedOrCancelledExportLeavesTheFolderAsItWas) {
    const TemporaryFolder folder;
    const auto reel = makeReel(folder / "reel", {});
    ASSERT_TRUE(reel);
    fs::create_directory(folder / "out");
    const auto before = namesIn(reel->folder());

    ExportRequest cancelled = requestFor(*reel, folder / "out" / "a.mp4");
    cancelled.progress = [&](const ExportProgress& progress) {
        if (progress.written == 20) cancelled.cancel->cancel();
    };
    const auto result = Exporter::run(cancelled);
    ASSERT_FALSE(result);
    EXPECT_TRUE(result.error().isCancelled());

    ExportRequest nothing = requestFor(*reel, folder / "out" / "b.mp4");
    nothing.settings.cuts = {{.start = 0, .end = 10}};
    EXPECT_EQ(Exporter::run(nothing).error().message,
              "Nothing is left to export — the whole recording is cut or trimmed away.");

    EXPECT_FALSE(Exporter::run(requestFor(*reel, folder / "out")));
    EXPECT_FALSE(Exporter::run(requestFor(*reel, reel->rawURL())));
    ExportRequest huge = requestFor(*reel, folder / "out" / "c.mp4");
    huge.options.shortSide = 100000;
    EXPECT_FALSE(Exporter::run(huge));

    EXPECT_TRUE(namesIn(folder / "out").empty());
    EXPECT_EQ(namesIn(reel->folder()), before);
    EXPECT_TRUE(Project::load(reel->folder()));
}

TEST(Exporter, TwoRendersToOneFileDoNotDisturbEachOther) {
    const TemporaryFolder folder;
    const auto reel = makeReel(folder / "reel", {.frames = 90, .grain = true});
    ASSERT_TRUE(reel);
    fs::create_directory(folder / "out");
    const auto render = [&] { return Exporter::run(requestFor(*reel, folder / "out" / "a.mp4")); };
    auto other = std::async(std::launch::async, render);
    EXPECT_TRUE(render());
    EXPECT_TRUE(other.get());
    EXPECT_EQ(probe(folder / "out" / "a.mp4", "v", "nb_frames"), "90");
    EXPECT_EQ(namesIn(folder / "out"), std::vector<std::string>{"a.mp4"});
}

// Makes an AAC track claim to be of another kind (an MPEG-4 object type).
void claimSoundIs(char objectType, const fs::path& movie) {
    auto bytes = readFile(movie, 1U << 30).value();
    const auto description = bytes.find("\x04\x80\x80\x80", bytes.rfind("esds"), 4);
    ASSERT_NE(description, std::string::npos);
    ASSERT_EQ(bytes[description + 5], '\x40');
    bytes[description + 5] = objectType;
    ASSERT_TRUE(writeFile(movie, bytes));
}

TEST(Exporter, LeavesOutSoundThatCannotBeDecodedAndSaysSo) {
    constexpr char kVorbis = '\xDD'; // cannot be opened without its headers
    constexpr char kDts = '\xA9';    // opens, and refuses every packet
    for (const char claimed : {kVorbis, kDts}) {
        const TemporaryFolder folder;
        const auto reel = makeReel(folder / "reel", {.frames = 20, .sound = std::vector<float>(32000, 0.1F)});
        ASSERT_TRUE(reel);
        claimSoundIs(claimed, reel->rawURL());
        ASSERT_TRUE(MovieReader::open(reel->rawURL()).value()->properties().hasAudio);
        const auto outcome = Exporter::run(requestFor(*reel, folder / "out.mp4"));
        ASSERT_TRUE(outcome) << outcome.error().message;
        EXPECT_EQ(outcome->warnings,
                  std::vector<std::string>{"The recording’s sound can’t be decoded, so the movie has none."});
        EXPECT_EQ(probe(folder / "out.mp4", "a", "codec_name"), "");
        EXPECT_EQ(probe(folder / "out.mp4", "v", "nb_frames"), "20");
    }
}

} // namespace
} // namespace glintro
