#include <limits>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "core/media/encode/MovieWriter.h"
#include "core/reel/Project.h"
#include "tests/core/model/Generators.h"
#include "tests/support/Files.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using Status = Project::LoadResult::Status;
using test::contentOf;
using test::putFile;

// Two seconds of a grey picture.
void putMovie(const fs::path& file) {
    const PixelSize size{320, 180};
    const auto writer =
        MovieWriter::create(file, {.size = size, .fps = 10, .bitRate = 200'000}, std::nullopt);
    ASSERT_TRUE(writer) << writer.error().message;
    const PictureBuffer picture(PixelLayout::yuv420, size);
    for (int frame = 0; frame < 20; ++frame) ASSERT_TRUE((*writer)->writeFrame(picture.view(), frame));
    ASSERT_TRUE((*writer)->finish());
}

const Project::Registration kRegistration{
    .name = "Take", .hasCamera = true, .cameraOffset = 0.5, .hasAudio = true};

TEST(Project, AFolderIsWhatItsMovieAndProjectFileSay) {
    const TemporaryFolder folder;
    const auto statusNow = [&] { return Project::inspect(folder.path()).status; };
    EXPECT_EQ(Project::inspect(folder / "missing").status, Status::none);
    putFile(folder / "project.json", encodeProjectInfo(ProjectInfo()).value());
    EXPECT_EQ(statusNow(), Status::none) << "a project file alone is no reel";
    putFile(folder / "raw.mov", "not even a movie");
    EXPECT_EQ(statusNow(), Status::ok) << "the movie is not opened";
    fs::remove(folder / "project.json");
    EXPECT_EQ(statusNow(), Status::damaged);
    EXPECT_FALSE(Project::load(folder.path()));
    fs::create_directory(folder / "project.json");
    EXPECT_EQ(statusNow(), Status::damaged) << "a folder in the file's place";
}

TEST(Project, SavesAndLoads) {
    const TemporaryFolder folder;
    putFile(folder / "raw.mov", "");
    Project project(folder.path(), ProjectInfo{.name = "Été “1”", .duration = 3, .width = 8, .height = 6});
    project.info.settings.splits = {1.25};
    ASSERT_TRUE(project.save());
    const auto loaded = Project::load(folder.path());
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->info, project.info);
    EXPECT_EQ(loaded->folder(), folder.path());

    const std::string saved = contentOf(project.infoURL());
    project.info.duration = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(project.save());
    EXPECT_EQ(contentOf(project.infoURL()), saved);
    EXPECT_FALSE(Project(folder / "missing", ProjectInfo()).save());
}

TEST(Registration, BuildsTheRecordFromMovieAndEvents) {
    const TemporaryFolder folder;
    putMovie(folder / "raw.mov");
    ASSERT_TRUE(writeEvents({1, 2, {}, {{{1, 0.5, 0.5}}}}, folder / "events.json"));
    auto details = kRegistration;
    details.zoomLevel = 1.75;
    details.aspect = AspectRatio::square;
    details.created = Timestamp(std::chrono::seconds(86400));
    const auto project = Project::registerReel(folder.path(), details);
    ASSERT_TRUE(project);
    const ProjectInfo& info = project->info;
    EXPECT_NEAR(info.duration, 2, 1e-6);
    ASSERT_EQ(info.settings.zooms.size(), 1U);
    EXPECT_EQ(info.settings.zooms[0].scale, 1.75);
    const ProjectSettings settings{.aspect = AspectRatio::square, .zooms = info.settings.zooms};
    const ProjectInfo expected{"Take", details.created, info.duration, 320, 180, true, 0.5, true, settings};
    EXPECT_EQ(info, expected);
    EXPECT_EQ(Project::load(folder.path()).value().info, expected) << "and it is saved";
}

// What a cut or a flipped byte makes of the two files is never worse than damaged and empty.
RC_GTEST_PROP(Project, AnyFileBytesGiveAReelOrADamagedOne, ()) {
    const TemporaryFolder folder;
    const Project project(folder.path(), test::anyInfo());
    const RecordingEvents events = test::anyEvents();
    putFile(project.rawURL(), "");
    RC_ASSERT(project.save());
    RC_ASSERT(writeEvents(events, project.eventsURL()).has_value());
    for (const auto& file : {project.infoURL(), project.eventsURL()}) {
        std::string bytes = contentOf(file);
        bytes[test::anyIndex(0, bytes.size())] ^= static_cast<char>(1 << test::anyIndex(0, 8));
        bytes.resize(test::anyIndex(bytes.size() / 2, bytes.size() + 1));
        putFile(file, bytes);
    }
    const auto loaded = Project::inspect(folder.path());
    RC_ASSERT(loaded.status == (loaded.project ? Status::ok : Status::damaged));
    if (loaded.project) RC_ASSERT(loaded.project->save());
    // Read piece by piece or at once, the events are the same.
    const auto whole = decodeEvents(contentOf(project.eventsURL()));
    RC_ASSERT(project.loadEvents() == whole.value_or(RecordingEvents()));
}

} // namespace
} // namespace glintro
