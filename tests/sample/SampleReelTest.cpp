#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sample/SampleReel.h"
#include "tests/support/Files.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

bool goOn(double) {
    return true;
}

SampleOptions small(double seconds) {
    return {.seconds = seconds, .size = {320, 200}, .fps = 30, .seed = 5};
}

TEST(SampleReelTest, EveryCombinationLoadsWithTheRightLengthAndTracks) {
    struct Row {
        SampleCamera camera;
        SampleMicrophone microphone;
        int fps;
    };
    for (const Row row :
         {Row{SampleCamera::off, SampleMicrophone::off, 60}, Row{SampleCamera::off, SampleMicrophone::on, 24},
          Row{SampleCamera::on, SampleMicrophone::off, 24},
          Row{SampleCamera::on, SampleMicrophone::on, 60}}) {
        const TemporaryFolder temporary;
        SampleOptions options = small(2.7);
        options.fps = row.fps;
        options.camera = row.camera;
        options.microphone = row.microphone;
        const auto made = makeSample(temporary / "reel", options, goOn);
        ASSERT_TRUE(made) << made.error().message << made.error().detail;
        const auto loaded = Project::load(made->folder());
        ASSERT_TRUE(loaded);
        EXPECT_NEAR(loaded->info.duration, 2.7, 1.0 / row.fps);
        EXPECT_NEAR(loaded->loadEvents().duration, loaded->info.duration, 1e-3);
        EXPECT_EQ(loaded->sourceSize(), (Size{320, 200}));
        EXPECT_EQ(loaded->info.hasAudio, row.microphone == SampleMicrophone::on);
        EXPECT_EQ(loaded->cameraAvailable(), row.camera == SampleCamera::on);
        EXPECT_EQ(loaded->info.cameraOffset != 0, row.camera == SampleCamera::on);
        EXPECT_EQ(fs::exists(loaded->cameraURL()), row.camera == SampleCamera::on);
        for (const auto& file : fs::directory_iterator(loaded->folder()))
            EXPECT_EQ(file.status().permissions(), fs::perms::owner_read | fs::perms::owner_write) << file;
    }
}

TEST(SampleReelTest, TheSameSeedMakesTheSameFilesAndAnotherSeedOthers) {
    const TemporaryFolder temporary;
    SampleOptions options = small(2.5);
    const auto make = [&](const char* name) {
        const auto made = makeSample(temporary / name, options, goOn);
        EXPECT_TRUE(made);
        return temporary / name;
    };
    const fs::path first = make("first");
    const fs::path second = make("second");
    options.seed = 6;
    const fs::path other = make("other");
    for (const char* name : {"raw.mov", "camera.mov", "events.json"}) {
        EXPECT_EQ(test::contentOf(first / name), test::contentOf(second / name)) << name;
        EXPECT_NE(test::contentOf(first / name), test::contentOf(other / name)) << name;
    }
    EXPECT_EQ(Project::load(first)->info.created, Project::load(second)->info.created);
}

TEST(SampleReelTest, LeavesFoldersOfOthersAlone) {
    const TemporaryFolder temporary;
    const fs::path folder = temporary / "mine";
    fs::create_directory(folder);
    std::ofstream(folder / "raw.mov") << "precious";
    const auto made = makeSample(folder, small(1), goOn);
    ASSERT_FALSE(made);
    EXPECT_NE(made.error().message.find("isn’t empty"), std::string::npos);
    EXPECT_EQ(test::contentOf(folder / "raw.mov"), "precious");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1);

    EXPECT_FALSE(makeSample(folder / "raw.mov", small(1), goOn));
    EXPECT_EQ(test::contentOf(folder / "raw.mov"), "precious");
}

TEST(SampleReelTest, UsesTheFolderOfARunThatWasKilled) {
    const TemporaryFolder temporary;
    const fs::path folder = temporary / "reel";
    fs::path copy = temporary / "copy";
    // What a kill leaves is what the folder holds in the middle of a run.
    (void)makeSample(folder, small(1.5), [&](double fraction) {
        if (fraction > 0.4 && !fs::exists(copy)) fs::copy(folder, copy, fs::copy_options::recursive);
        return true;
    });
    ASSERT_FALSE(Project::load(copy));
    ASSERT_TRUE(makeSample(copy, small(1.5), goOn));
    EXPECT_EQ(test::contentOf(copy / "raw.mov"), test::contentOf(folder / "raw.mov"));
    EXPECT_EQ(std::distance(fs::directory_iterator(copy), {}), 4);
}

} // namespace
} // namespace glintro
