#include <ctime>
#include <map>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "app/library/LibraryFolder.h"
#include "core/base/FileIO.h"
#include "tests/support/Reels.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

LibraryFolder::Environment variables(std::map<std::string, std::string> values) {
    return [values = std::move(values)](const char* name) -> std::optional<std::string> {
        const auto found = values.find(name);
        return found == values.end() ? std::nullopt : std::optional(found->second);
    };
}

TEST(LibraryFolder, IsWhereTheUserKeepsVideos) {
    struct Row {
        std::map<std::string, std::string> environment;
        const char* userFolders;
        const char* root;
    };
    const TemporaryFolder home;
    const std::string at = home.path();
    const Row rows[] = {
        {{{"GLINTRO_LIBRARY_DIR", "some/reels"}}, "", "some/reels"},
        {{{"GLINTRO_LIBRARY_DIR", "/r"}, {"XDG_VIDEOS_DIR", "/v"}}, "", "/r"},
        {{{"GLINTRO_LIBRARY_DIR", "/x/lib/"}}, "", "/x/lib"},
        {{{"GLINTRO_LIBRARY_DIR", ""}, {"XDG_VIDEOS_DIR", "/v"}}, "", "/v/Glintro"},
        {{{"XDG_VIDEOS_DIR", "relative"}}, "", "~/Videos/Glintro"},
        {{}, "", "~/Videos/Glintro"},
        {{}, "# mine\nXDG_MUSIC_DIR=\"/m\"\nXDG_VIDEOS_DIR=\"$HOME/Vidéos\"\n", "~/Vidéos/Glintro"},
        {{}, "  XDG_VIDEOS_DIR=\"/media/big disk\"", "/media/big disk/Glintro"},
        {{}, "XDG_VIDEOS_DIR=\"/a \\\"b\\\" \\$c\"\n", "/a \"b\" $c/Glintro"},
        {{}, "XDG_VIDEOS_DIR=\"/a\"\nXDG_VIDEOS_DIR=\"/b\"\n", "/b/Glintro"},
        {{}, "XDG_VIDEOS_DIR=\"$HOME/\"\n", "~/Glintro"},
        {{}, "XDG_VIDEOS_DIR=\"films\"\n", "~/Videos/Glintro"},
        {{}, "XDG_VIDEOS_DIR=\"/a\\", "/a\\/Glintro"},
        {{}, "XDG_VIDEOS_DIR=", "~/Videos/Glintro"}};
    fs::create_directory(home / ".config");
    for (Row row : rows) {
        row.environment["HOME"] = at;
        ASSERT_TRUE(writeFile(home / ".config/user-dirs.dirs", row.userFolders));
        std::string expected = row.root;
        if (expected.starts_with('~')) expected.replace(0, 1, at);
        EXPECT_EQ(LibraryFolder::ofUser(variables(row.environment)).root(), expected) << row.userFolders;
    }
    const TemporaryFolder other;
    ASSERT_TRUE(writeFile(other / "user-dirs.dirs", "XDG_VIDEOS_DIR=\"/elsewhere\"\n"));
    const auto environment = variables({{"HOME", at}, {"XDG_CONFIG_HOME", other.path()}});
    EXPECT_EQ(LibraryFolder::ofUser(environment).root(), "/elsewhere/Glintro");
    EXPECT_TRUE(LibraryFolder::ofUser(variables({})).root().is_absolute()) << "without any variable";
}

TEST(LibraryFolder, NamesReelsByTheLocalTime) {
    const TemporaryFolder home;
    const LibraryFolder library(home / "not/yet there");
    const Timestamp date = parseTimestamp("2026-12-31T23:05:09Z").value();
    for (const auto& [zone, name] : std::map<std::string, std::string>{{"UTC0", "2026-12-31/23.05.09"},
                                                                       {"XXX-5:30", "2027-01-01/04.35.09"},
                                                                       {"YYY9", "2026-12-31/14.05.09"}}) {
        const test::ScopedEnvironment there("TZ", zone);
        for (const char* suffix : {"", "-2", "-3"}) {
            const auto folder = library.newProjectFolder(date);
            ASSERT_TRUE(folder) << folder.error().message;
            EXPECT_EQ(*folder, library.root() / (name + suffix));
            EXPECT_TRUE(fs::is_empty(*folder));
        }
    }
    ::tzset();
}

TEST(LibraryFolder, GivesEachOfManyAFolderOfItsOwn) {
    const TemporaryFolder home;
    const LibraryFolder library(home.path());
    std::vector<fs::path> made(64);
    {
        std::vector<std::jthread> threads;
        for (std::size_t i = 0; i < 8; ++i)
            threads.emplace_back([&made, &library, i] {
                for (std::size_t n = 0; n < 8; ++n)
                    made[i * 8 + n] = library.newProjectFolder(Timestamp()).value();
            });
    }
    EXPECT_EQ(std::set<fs::path>(made.begin(), made.end()).size(), made.size());
}

TEST(LibraryFolder, SaysWhyAFolderCannotBeMade) {
    const TemporaryFolder home;
    ASSERT_TRUE(writeFile(home / "file", ""));
    const auto made = LibraryFolder(home / "file/library").newProjectFolder(Timestamp());
    ASSERT_FALSE(made);
    EXPECT_NE(made.error().message.find("file/library/"), std::string::npos) << made.error().message;
    EXPECT_NE(made.error().message.find("Not a directory."), std::string::npos) << made.error().message;
}

TEST(LibraryFolder, RegistersARecordingAsThePreferencesSay) {
    const TemporaryFolder home;
    const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    const TakeRecord take{.firstFrameHost = 100, .clicks = {{101, {0.5, 0.5}}}};
    EXPECT_FALSE(LibraryFolder::registerRecording(home.path(), "Take", take, {})) << "without a movie";
    test::writeMovie(home / "raw.mov", {});
    const auto reel = LibraryFolder::registerRecording(home.path(), "Take", take,
                                                       {.zoomLevel = 1.5, .aspect = AspectRatio::square});
    ASSERT_TRUE(reel);
    const ProjectInfo& info = reel->project.info;
    EXPECT_EQ(info.name, "Take");
    EXPECT_EQ(info.settings.aspect, AspectRatio::square);
    ASSERT_EQ(info.settings.zooms.size(), 1U);
    EXPECT_EQ(info.settings.zooms[0].scale, 1.5);
    EXPECT_GE(info.created, now);
    EXPECT_LE(info.created, now + std::chrono::minutes(5));
}

} // namespace
} // namespace glintro
