#include <set>

#include <gtest/gtest.h>

#include "core/edit/EditScript.h"
#include "tests/core/edit/Rows.h"
#include "tests/core/timeline/Values.h"

namespace glintro {
namespace {

using test::rowOf;
using test::wordsOf;
using testing::cut;
using testing::Edits;
using testing::sample;
using testing::zoom;

ProjectInfo reelOf(const ProjectSettings& settings) {
    return {.name = "Before", .duration = 20, .settings = settings};
}

Result<EditedReel> edited(const ProjectSettings& before, const std::string& script) {
    const auto parsed = EditScript::parse(wordsOf(script));
    if (!parsed) return std::unexpected(parsed.error());
    return parsed->apply(reelOf(before), {.clicks = {sample(10, 0.5, 0.5)}, .defaultZoom = 2.5});
}

const Edits kZoomed{.zooms = {zoom(4, 8)}};
const Edits kCut{.cuts = {cut(4, 8)}};

TEST(EditScript, DoesEachOperation) {
    const struct {
        ProjectSettings before;
        const char* script;
        const char* row;
        const char* done; // the last line; empty when nothing changes
    } rows[] = {
        {{}, "split 7", "w0-7 w7-20", "Split at 7 s"},
        {kZoomed, "cut 2", "w0-4 c4-8x2 w8-20", "Shot 2 cut · 4.0s shorter"},
        {kCut, "cut 2", "w0-4 c4-8 w8-20", ""},
        {kCut, "restore 2", "w0-20", "Shot 2 restored"},
        {kZoomed, "restore 2", "w0-4 z4-8x2 w8-20", ""},
        {kCut, "speed 2 0.25", "w0-4 c4-8@0.25 w8-20", "Shot 2 at 0.25×"},
        {kZoomed, "speed 2 16", "w0-4 z4-8x2@16 w8-20", "Shot 2 at 16×"},
        {kZoomed, "zoom 1 10", "z0-4x10 z4-8x2 w8-20", "Shot 1 zoomed by 10"},
        {kZoomed, "zoom 2 1.01", "w0-20", "Shot 2 zoomed by 1.01"},
        {kZoomed, "join 2", "w0-4 z4-20x2", "Shot 2 joined with the next"},
        {kZoomed, "split 6 join 2", "w0-4 z4-8x2 w8-20", "Shot 2 joined with the next"},
        {kZoomed, "move 8.04 10", "w0-4 z4-10x2 w10-20", "Edge moved from 8 to 10 s"},
        {kZoomed, "move 8 -1", "w0-4 z4-4.3x2 w4.3-20", "Edge moved from 8 to 4.3 s"},
        {kZoomed, "move -0.01 1", "w1-4 z4-8x2 w8-20", "Edge moved from 0 to 1 s"},
        {kZoomed, "move 0 -3", "w0-4 z4-8x2 w8-20", ""},
        {kZoomed, "trim 1 9", "w1-4 z4-8x2 w8-9", "Trimmed to 1–9 s"},
        {Edits{.trimStart = 1, .trimEnd = 9}, "untrim", "w0-20", "Trims removed"},
        {kZoomed, "auto-zoom", "w0-9 z9-11.8x2.5 w11.8-20", "1 automatic zoom"},
        {kZoomed, "auto-zoom 4 look Paper", "w0-9 z9-11.8x4 w11.8-20", "Look Paper"},
        {kZoomed, "set showCursor true", "w0-4 z4-8x2 w8-20", ""},
        {kZoomed, "set shadow -0", "w0-4 z4-8x2 w8-20", "shadow set"},
        {kZoomed, "rename Before", "w0-4 z4-8x2 w8-20", ""},
        // Numbers count the shots as they are by then.
        {{}, "split 5 split 10 cut 2 join 2 restore 2", "w0-5 w5-20", "Shot 2 restored"},
    };
    for (const auto& row : rows) {
        const auto reel = edited(row.before, row.script);
        ASSERT_TRUE(reel) << row.script << ": " << reel.error().message;
        EXPECT_EQ(rowOf(reel->info), row.row) << row.script;
        EXPECT_EQ(reel->done.empty() ? "" : reel->done.back(), row.done) << row.script;
        EXPECT_TRUE(!reel->done.empty() || reel->info == reelOf(row.before)) << row.script;
    }
    EXPECT_EQ(edited(kZoomed, "auto-zoom auto-zoom")->done.size(), 1U) << "the same zooms are a change";
}

TEST(EditScript, RefusesWhatTheReelCannotDo) {
    const struct {
        ProjectSettings before;
        const char* script;
        const char* sentence;
    } rows[] = {
        {kZoomed, "split 4.29",
         "“split 4.29” can’t be done: that is less than 0.3 s from the edge of a shot."},
        {kZoomed, "split 21", "“split 21” can’t be done: no shot shows that time."},
        {kZoomed, "cut 4", "“cut 4” can’t be done: the last shot is shot 3."},
        {kZoomed, "restore 9", "the last shot is shot 3."},
        {kZoomed, "speed 9223372036854775807 2", "the last shot is shot 3."},
        {kCut, "zoom 2 2", "“zoom 2 2” can’t be done: shot 2 is cut."},
        {kZoomed, "join 3", "“join 3” can’t be done: shot 3 is the last one."},
        {kZoomed, "move 6 7", "“move 6 7” can’t be done: no edge is within 0.05 s of 6."},
        {Edits{.splits = {4, 4.2, 4.4}}, "move 4.2 4.3", "can’t be done: the edges beside it are too close."},
        {kZoomed, "trim 1 20.02", "“trim 1 20.02” can’t be done: the recording ends at 20 s."},
        {kZoomed, "trim 19.6 19.895", "“trim 19.6 19.895” can’t be done: less than 0.3 s would be left."},
        {Edits{.trimStart = 30}, "cut 1", "“cut 1” can’t be done: the reel has no shots."},
        {{}, "split 5 cut 1 rename After zoom 1 2", "“zoom 1 2” can’t be done: shot 1 is cut."},
    };
    for (const auto& row : rows) {
        EXPECT_TRUE(EditScript::parse(wordsOf(row.script))) << row.script;
        const auto reel = edited(row.before, row.script);
        ASSERT_FALSE(reel) << row.script;
        EXPECT_NE(reel.error().message.find(row.sentence), std::string::npos) << reel.error().message;
    }
}

TEST(EditScript, RefusesWordsThatNoReelCouldFollow) {
    const struct {
        std::vector<std::string> words;
        const char* sentence;
    } rows[] = {
        {{"polish"}, "“polish” is not an operation. They are split, cut, restore, speed,"},
        {{"cut", "1", "2"}, "“2” is not an operation."},
        {{"split"}, "More is expected behind “split”: split T."},
        {{"speed", "2"}, "More is expected behind “speed”: speed N RATE."},
        {{"split", "-1"}, "split expects a time in seconds from 0, not “-1”."},
        {{"split", "nan"}, "split expects a time in seconds from 0, not “nan”."},
        {{"move", "0", "inf"}, "move expects a time in seconds, not “inf”."},
        {{"split", "1,5"}, "not “1,5”."},
        {{"split", "0x10"}, "not “0x10”."},
        {{"split", "5s"}, "not “5s”."},
        {{"split", " 5"}, "not “ 5”."},
        {{"split", ""}, "not “”."},
        {{"split", "1e999"}, "not “1e999”."},
        {{"cut", "0"}, "cut expects a shot’s number from 1, not “0”."},
        {{"cut", "1.0"}, "not “1.0”."},
        {{"cut", "99999999999999999999"}, "not “99999999999999999999”."},
        {{"speed", "1", "0.2"}, "speed expects a rate from 0.25 to 16, not “0.2”."},
        {{"speed", "1", "-2"}, "not “-2”."},
        {{"zoom", "1", "10.5"}, "zoom expects a scale from 1 to 10, not “10.5”."},
        {{"auto-zoom", "0.5"}, "auto-zoom expects a level from 1 to 10, not “0.5”."},
        {{"auto-zoom", "much"}, "“much” is not an operation."},
        {{"trim", "5", "2"}, "trim expects an END at least 0.3 s behind START, not “5 2”."},
        {{"look", "dusk"}, "look expects one of Aurora, Studio, Dusk,"},
        {{"rename", " \t\u00A0\u2003\n"}, "rename expects a name"},
        {{"set", "trimStart", "2"}, "set expects one of background, gradientIndex,"},
        {{"set", "padding", "0.21"}, "set expects padding to be a number from 0 to 0.2, not “0.21”."},
        {{"set", "padding", "-0.1"}, "from 0 to 0.2, not “-0.1”."},
        {{"set", "gradientIndex", "14"}, "gradientIndex to be a whole number from 0 to 13, not “14”."},
        {{"set", "gradientIndex", "2.5"}, "not “2.5”."},
        {{"set", "showCursor", "yes"}, "showCursor to be true or false, not “yes”."},
        {{"set", "solidHex", "#12345"}, "solidHex to be a colour such as #16161C, not “#12345”."},
        {{"set", "aspect", "16x9"}, "aspect to be one of 16:9, 9:16, 1:1, 4:3, Source, not “16x9”."},
        {{"cut", "1", "rename"}, "More is expected behind “rename”: rename NAME."},
    };
    for (const auto& row : rows) {
        const auto script = EditScript::parse(row.words);
        ASSERT_FALSE(script) << row.sentence;
        EXPECT_NE(script.error().message.find(row.sentence), std::string::npos) << script.error().message;
    }
}

TEST(EditScript, TrimsAtTheEndStoreNoEnd) {
    for (const char* end : {"19.99", "20", "20.01"}) {
        const auto reel = edited({}, std::string("trim 2 ") + end);
        ASSERT_TRUE(reel) << end;
        EXPECT_EQ(reel->info.settings.trimStart, 2);
        EXPECT_EQ(reel->info.settings.trimEnd, std::nullopt) << end;
    }
    EXPECT_EQ(edited({}, "trim 2 19.98")->info.settings.trimEnd, 19.98);
    EXPECT_TRUE(edited({}, "trim 19.7 19.995")) << "0.3 s are left up to the end";
}

// What a trim hides is passed by the trim's edge and stands among what is shown afterwards.
TEST(EditScript, ListsStaySortedWhereATrimHidesParts) {
    const Edits hidden{.zooms = {zoom(3, 4.5), zoom(5, 8, 3)}, .splits = {2, 2.01, 3, 5}, .trimStart = 5};
    const ProjectSettings moved = edited(hidden, "move 5 2.02")->info.settings;
    EXPECT_EQ(moved.zooms[0].start, 2.02);
    EXPECT_EQ(moved.zooms[1].start, 3);
    EXPECT_EQ(moved.splits, (std::vector<Seconds>{2, 2.01, 2.02, 3}));
    const ProjectSettings again = edited(hidden, "move 5 2.02 move 2.02 2.5 split 4")->info.settings;
    EXPECT_EQ(again.splits, (std::vector<Seconds>{2.5, 3, 4}));
    EXPECT_TRUE(std::ranges::is_sorted(again.zooms, {}, &ZoomSegment::start));
    EXPECT_EQ(again.zooms.size(), 4U);
}

TEST(EditScript, RenamesToWhatIsLeftWithoutSpaceAroundIt) {
    const std::vector<std::string> words{"rename", "\u3000\n Renamed ✂️  reel \u2028"};
    const auto reel = EditScript::parse(words)->apply(reelOf({}), {});
    EXPECT_EQ(reel->info.name, "Renamed ✂️  reel");
    EXPECT_EQ(reel->done, std::vector<std::string>{"Renamed to “Renamed ✂️  reel”"});
}

// Every field takes the ends of its range and every text it names, and nothing else of the reel changes.
TEST(EditScript, SetsEveryFieldOfTheProjectFile) {
    const char* const values[][3] = {
        {"background", "wallpaper", "solid"},
        {"gradientIndex", "0", "13"},
        {"solidHex", "#00ffAA", "#000000"},
        {"wallpaperBlur", "0", "100"},
        {"padding", "0", "0.2"},
        {"cornerRadius", "0", "60"},
        {"shadow", "0", "1"},
        {"aspect", "Source", "1:1"},
        {"showCursor", "false", "true"},
        {"cursorSize", "0.8", "3"},
        {"cursorSmoothing", "0", "1"},
        {"clickRipple", "false", "true"},
        {"followCursor", "false", "true"},
        {"showCamera", "false", "true"},
        {"camCorner", "topLeft", "bottomLeft"},
        {"camShape", "rounded", "circle"},
        {"camSize", "0.12", "0.4"},
    };
    std::set<std::string_view> keys;
    for (const auto& [key, first, second] : values) {
        keys.insert(key);
        ProjectInfo info = reelOf({});
        for (const char* value : {first, second}) {
            const auto reel = EditScript::parse(std::vector<std::string>{"set", key, value})->apply(info, {});
            ASSERT_TRUE(reel) << key;
            info = reel->info;
            const bool isText =
                SettingsField::named(key)->expectation().find("one of") == 0 || value[0] == '#';
            const std::string quote = isText ? "\"" : "";
            const std::string line = "\"" + std::string(key) + "\": " + quote + value + quote;
            EXPECT_NE(encodeProjectInfo(info)->find(line), std::string::npos) << line;
        }
    }
    // With the trims and the lists these are all of the settings.
    for (const SettingsField& field : SettingsField::all()) EXPECT_TRUE(keys.erase(field.key)) << field.key;
    EXPECT_TRUE(keys.empty());
}

TEST(EditScript, HelpNamesEveryOperationAndRange) {
    const std::string help = EditScript::help();
    for (const char* each :
         {"split T", "auto-zoom [LEVEL]", "rename NAME", "padding", "a number from 0.12 to 0.4"})
        EXPECT_NE(help.find(each), std::string::npos) << each;
}

} // namespace
} // namespace glintro
