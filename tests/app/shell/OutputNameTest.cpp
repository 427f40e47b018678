#include <gtest/gtest.h>

#include "app/shell/OutputName.h"
#include "core/export/Destination.h"
#include "tests/app/shell/ReelFixtures.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

TEST(OutputName, IsTheReelsNameMadeSafe) {
    std::string accents;
    for (int i = 0; i < 150; ++i) accents += "é";
    struct Row {
        std::string name;
        std::string stem;
    };
    const Row rows[] = {
        {"Sprint review", "Sprint review"},
        {"a/b\\c:d*e?f\"g<h>i|j\nk", "a-b-c-d-e-f-g-h-i-j-k"},
        {"../../etc/passwd", "etc-passwd"},
        {" .hidden. ", "hidden"},
        {"--help", "help"},
        {"Übersicht – 東京", "Übersicht – 東京"},
        {std::string(300, 'x'), std::string(200, 'x')},
        {"x" + accents, "x" + accents.substr(0, 198)}, // cut between characters
        {"", "My folder"},
        {"///", "My folder"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(outputStem(Project("/reels/My folder", {.name = row.name})), row.stem) << row.name;
    EXPECT_EQ(outputStem(Project("/reels/My folder/", {})), "My folder");
    EXPECT_EQ(outputStem(Project("/", {})), "reel");
}

TEST(OutputName, FindsANameThatNoFileHas) {
    const TemporaryFolder folder;
    test::putFile(folder / "Demo.mp4", "older");
    fs::create_directory(folder / "Demo-2.mp4");
    fs::create_symlink("nowhere", folder / "Demo-3.mp4");
    {
        auto kept = ReservedName::create(folder.path(), "Demo", ".mp4");
        ASSERT_TRUE(kept);
        EXPECT_EQ(kept->path(), folder / "Demo-4.mp4");
        const auto dropped = ReservedName::create(folder.path(), "Demo", ".mp4");
        ASSERT_TRUE(dropped);
        EXPECT_EQ(dropped->path(), folder / "Demo-5.mp4");
        kept->keep();
    }
    EXPECT_TRUE(fs::exists(folder / "Demo-4.mp4"));
    EXPECT_FALSE(fs::exists(folder / "Demo-5.mp4"));
    EXPECT_EQ(test::contentOf(folder / "Demo.mp4"), "older");
    EXPECT_FALSE(ReservedName::create("/proc/nowhere", "Demo", ".mp4"));
}

TEST(OutputName, SparesTheReelAndFolders) {
    const TemporaryFolder folder;
    const Project reel = handMadeReel(folder / "reel", {});
    fs::create_symlink(reel.rawURL(), folder / "link.mp4");
    fs::create_hard_link(reel.rawURL(), folder / "same.mp4");
    for (const fs::path& refused :
         {reel.rawURL(), reel.infoURL(), reel.eventsURL(), reel.cameraURL(), folder / "reel/./raw.mov",
          folder / "reel/../reel/project-damaged.json", folder / "link.mp4", folder / "same.mp4",
          reel.folder(), folder / "new/", fs::path()})
        EXPECT_FALSE(checkDestination(reel, refused)) << refused;
    for (const fs::path& fine : {folder / "a.mp4", folder / "reel/a.mp4", folder / "new/raw.mov"})
        EXPECT_TRUE(checkDestination(reel, fine)) << fine;
}

} // namespace
} // namespace glintro
