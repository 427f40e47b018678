#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <random>

#include <gtest/gtest.h>

#include "app/pictures/PictureKeys.h"
#include "core/render/StillSource.h"
#include "tests/support/Reels.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using test::makeReel;

RecordingEvents pointer() {
    RecordingEvents events;
    events.duration = 4;
    // A leap just before the moment of the card, where paths of different smoothing are far apart.
    for (int i = 0; i < 240; ++i) events.cursor.push_back({{i / 60.0, i < 80 ? 0.1 : 0.9, 0.6}});
    for (const double time : {0.5, 1.2, 1.3, 3.0}) events.clicks.push_back({{time, 0.3, 0.6}});
    return events;
}

class PictureKeysTest : public testing::Test {
  protected:
    std::string content(const std::function<void(Project&)>& change) const {
        Project changed = *reel;
        change(changed);
        return cardKey(changed, {}).content;
    }
    std::string contentOf(const std::function<void(ProjectSettings&)>& change) const {
        return content([&](Project& project) { change(project.info.settings); });
    }

    // Four seconds: the card shows 1.4 s.
    TemporaryFolder folder;
    std::optional<Project> reel = makeReel(folder / "reel", {.frames = 120, .grain = true}, pointer(),
                                           test::MovieRecipe{.frames = 120, .colour = [](int) {
                                                                 return test::Rgb{200, 40, 40};
                                                             }});
};

// One step of an editor, of any kind.
void edit(ProjectSettings& settings, std::mt19937& random) {
    const auto share = [&] { return static_cast<double>(random() % 1000) / 1000; };
    const Seconds start = random() % 2 == 0 ? 4 * share() : 1; // often where the card looks
    const std::vector<std::function<void()>> edits{
        [&] { settings.background = static_cast<BackgroundKind>(random() % 3); },
        [&] { settings.gradientIndex = static_cast<int>(random() % 14); },
        [&] { settings.solidHex = random() % 2 == 0 ? "#102030" : "#F0E0D0"; },
        [&] { settings.wallpaperBlur = 100 * share(); },
        [&] { settings.padding = 0.2 * share(); },
        [&] { settings.cornerRadius = 60 * share(); },
        [&] { settings.shadow = share(); },
        [&] { settings.aspect = static_cast<AspectRatio>(random() % 5); },
        [&] { settings.showCursor = !settings.showCursor; },
        [&] { settings.cursorSize = 0.8 + 2 * share(); },
        [&] { settings.cursorSmoothing = share(); },
        [&] { settings.clickRipple = !settings.clickRipple; },
        [&] { settings.followCursor = !settings.followCursor; },
        [&] { settings.zooms.push_back({.start = start, .end = start + share(), .scale = 1.5 + share()}); },
        [&] { settings.zooms.clear(); },
        [&] { settings.trimStart = share(); },
        [&] { settings.trimEnd = 3 + share(); },
        [&] { settings.cuts.push_back({.start = start, .end = start + share()}); },
        [&] { settings.speeds.push_back({.start = start, .end = start + share()}); },
        [&] { settings.splits.push_back(start); },
        [&] { settings.showCamera = !settings.showCamera; },
        [&] { settings.camCorner = static_cast<CamCorner>(random() % 4); },
        [&] { settings.camShape = static_cast<CamShape>(random() % 2); },
        [&] { settings.camSize = 0.12 + 0.28 * share(); },
    };
    edits[random() % edits.size()]();
}

// The one way a cache may not fail: an old picture shown for a reel that looks different now. The other way,
// drawing again what had not changed, may happen but now and then.
TEST_F(PictureKeysTest, ReelsOfTheSameKeyLookTheSame) {
    auto source = StillSource::open(*reel);
    ASSERT_TRUE(source);
    const auto frame = (*source)->grab({.at = cardTime(reel->info.duration), .camera = CameraUse::with});
    ASSERT_TRUE(frame);
    std::mt19937 random(3);
    std::map<std::string, std::vector<std::uint8_t>> drawn;
    Project changed = *reel;
    int same = 0;
    for (int i = 0; i < 900; ++i) {
        edit(changed.info.settings, random);
        const auto picture = (*source)->draw(*frame, changed.info.settings, 160, nullptr, Framing::fit);
        const auto [known, isNew] = drawn.try_emplace(cardKey(changed, {}).content, picture.pixels);
        if (isNew) continue;
        ++same;
        ASSERT_EQ(known->second, picture.pixels) << shownOnCard(changed.info);
    }
    EXPECT_GT(same, 100);
}

TEST_F(PictureKeysTest, EditsThatDoNotShowChangeNoKey) {
    const std::string before = cardKey(*reel, {}).content;
    const auto isSame = [&](const std::function<void(ProjectSettings&)>& change) {
        return contentOf(change) == before;
    };
    EXPECT_TRUE(isSame([](auto& s) { s.trimStart = 1; }));
    EXPECT_TRUE(isSame([](auto& s) { s.cuts = {{.start = 1, .end = 2}}; }));
    EXPECT_TRUE(isSame([](auto& s) { s.speeds = {{.start = 1, .end = 2}}; }));
    EXPECT_TRUE(isSame([](auto& s) { s.splits = {1.4}; }));
    EXPECT_TRUE(isSame([](auto& s) { s.solidHex = "#FFFFFF"; })); // behind a gradient
    EXPECT_TRUE(isSame([](auto& s) { s.zooms.push_back({.start = 3, .end = 4}); }));
    EXPECT_FALSE(isSame([](auto& s) { s.zooms.push_back({.start = 1, .end = 2}); }));
    EXPECT_EQ(before, content([](Project& project) { project.info.name = "Other"; }));
}

TEST_F(PictureKeysTest, FilesAndWallpaperAreTold) {
    std::vector<std::string> seen{cardKey(*reel, {}).content, scrubKey(*reel).content};
    const auto expectNew = [&](const std::string& content) {
        EXPECT_EQ(std::ranges::count(seen, content), 0);
        seen.push_back(content);
    };
    for (const char* name : {"raw.mov", "camera.mov", "events.json"}) {
        fs::last_write_time(reel->folder() / name,
                            fs::file_time_type::clock::now() + std::chrono::seconds(5));
        expectNew(cardKey(*reel, {}).content);
    }
    expectNew(scrubKey(*reel).content);
    fs::create_directories(folder / "copy");
    expectNew(cardKey(Project(folder / "copy", reel->info), {}).content);

    std::string identity = "one";
    const WallpaperSource wallpaper{[](PixelSize) { return nullptr; }, [&] { return identity; }};
    EXPECT_EQ(cardKey(*reel, wallpaper).content, cardKey(*reel, {}).content) << "hidden by a gradient";
    reel->info.settings.background = BackgroundKind::wallpaper;
    expectNew(cardKey(*reel, wallpaper).content);
    identity = "two";
    expectNew(cardKey(*reel, wallpaper).content);
    identity.clear(); // unknown: never kept
    EXPECT_EQ(cardKey(*reel, wallpaper).content, "");
}

} // namespace
} // namespace glintro
