#include <gtest/gtest.h>

#include "core/export/FramePipeline.h"
#include "tests/support/Reels.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

using test::makeReel;
using test::MovieRecipe;

constexpr PixelSize kCanvas{192, 108};

RecordingEvents wanderingPointer() {
    RecordingEvents events;
    events.duration = 2;
    for (int i = 0; i < 60; ++i) events.cursor.push_back({{i / 60.0, 0.2 + i * 0.008, 0.5}});
    events.clicks = {{{0.3, 0.3, 0.5}}};
    return events;
}

struct Reel {
    MovieRecipe recipe = {};
    TemporaryFolder folder = {};
    std::optional<Project> project = makeReel(folder / "reel", recipe, wanderingPointer());

    Result<void> pump(int workers, const ExportCancel& cancel,
                      const std::function<Result<void>(const Picture&, std::int64_t, FrameChange)>& write) {
        auto composition = ReelComposition::build(*project, project->info.settings);
        if (!composition) return std::unexpected(composition.error());
        const FrameRenderer renderer(project->info.settings, composition->sourceSize, project->loadEvents(),
                                     nullptr, Framing::fit);
        return pumpFrames({*composition, renderer, PixelLayout::yuv420, kCanvas, 60, 120, workers}, cancel,
                          write);
    }
};

std::vector<std::uint8_t> bytesOf(const Picture& picture) {
    std::vector<std::uint8_t> bytes;
    for (const PlaneView& plane : picture.planes)
        for (int y = 0; y < plane.height; ++y)
            bytes.insert(bytes.end(), plane.row(y), plane.row(y) + plane.width);
    return bytes;
}

TEST(FramePipeline, OneWorkerAndFourDrawTheSameFramesInOrder) {
    Reel reel;
    std::vector<std::vector<std::uint8_t>> frames[2];
    for (int i = 0; i < 2; ++i) {
        const auto result =
            reel.pump(i == 0 ? 1 : 4, {}, [&](const Picture& picture, std::int64_t index, FrameChange) {
                EXPECT_EQ(index, static_cast<std::int64_t>(frames[i].size()));
                frames[i].push_back(bytesOf(picture));
                return Result<void>{};
            });
        ASSERT_TRUE(result) << result.error().message;
    }
    EXPECT_EQ(frames[0].size(), 120U);
    EXPECT_EQ(frames[0], frames[1]);
}

TEST(FramePipeline, OnlyFramesThatDifferAreDrawn) {
    Reel reel;
    reel.project->info.settings.showCursor = false;
    reel.project->info.settings.zooms.clear();
    int drawn = 0;
    int wronglyRepeated = 0;
    std::vector<std::uint8_t> last;
    ASSERT_TRUE(reel.pump(2, {}, [&](const Picture& picture, std::int64_t, FrameChange change) {
        drawn += change == FrameChange::drawn;
        const auto bytes = bytesOf(picture);
        wronglyRepeated += change == FrameChange::repeated && bytes != last;
        last = bytes;
        return Result<void>{};
    }));
    EXPECT_EQ(drawn, 60) << "a 30 fps recording at 60 fps shows every frame twice";
    EXPECT_EQ(wronglyRepeated, 0);
}

TEST(FramePipeline, StopsWhenTheWriterFailsOrTheUserCancels) {
    Reel reel;
    for (const int at : {0, 1, 57, 119}) {
        int calls = 0;
        const auto failed =
            reel.pump(3, {}, [&](const Picture&, std::int64_t index, FrameChange) -> Result<void> {
                ++calls;
                if (index == at) return failure("The disk is full.");
                return {};
            });
        ASSERT_FALSE(failed);
        EXPECT_EQ(failed.error().message, "The disk is full.");
        EXPECT_EQ(calls, at + 1);

        ExportCancel cancel;
        const auto cancelled = reel.pump(3, cancel, [&](const Picture&, std::int64_t index, FrameChange) {
            EXPECT_LE(index, at);
            if (index == at) cancel.cancel();
            return Result<void>{};
        });
        ASSERT_FALSE(cancelled);
        EXPECT_TRUE(cancelled.error().isCancelled());
    }
}

TEST(FramePipeline, ReportsARecordingThatCannotBeRead) {
    Reel reel{.recipe = {.grain = true}};
    auto composition = ReelComposition::build(*reel.project, reel.project->info.settings);
    ASSERT_TRUE(composition);
    // What is cut away under the open reader is missing when it gets there.
    std::filesystem::resize_file(reel.project->rawURL(),
                                 std::filesystem::file_size(reel.project->rawURL()) / 3);
    const FrameRenderer renderer(reel.project->info.settings, composition->sourceSize, {}, nullptr,
                                 Framing::fit);
    const auto result = pumpFrames({*composition, renderer, PixelLayout::yuv420, kCanvas, 30, 60, 2}, {},
                                   [](const Picture&, std::int64_t, FrameChange) { return Result<void>{}; });
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().message, "Couldn’t read the recording.");
}

} // namespace
} // namespace glintro
