// The small values of the model: identifiers, times, colours, enumerations and Looks.
#include <limits>
#include <set>

#include <gtest/gtest.h>

#include "core/base/Uuid.h"
#include "core/model/Colour.h"
#include "core/model/Enumerations.h"
#include "core/model/Look.h"
#include "core/model/Presets.h"
#include "core/model/TimeFormat.h"
#include "core/model/Timestamp.h"

namespace glintro {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

TEST(Uuid, ReadsItsOneForm) {
    struct Row {
        std::string_view text;
        bool isUuid;
    };
    const Row rows[] = {
        {"6F9619FF-8B86-D011-B42D-00C04FC964FF", true},  {"6f9619ff-8b86-d011-b42d-00c04fc964ff", true},
        {"00000000-0000-0000-0000-000000000000", true},  {"", false},
        {"6F9619FF8B86D011B42D00C04FC964FF", false},     {"{6F9619FF-8B86-D011-B42D-00C04FC964FF}", false},
        {"6F9619FF-8B86-D011-B42D-00C04FC964F", false},  {"6F9619FF-8B86-D011-B42D-00C04FC964FFF", false},
        {"6F9619FF-8B86-D011-B42D-00C04FC964FG", false}, {"6F9619F-F8B86-D011-B42D-00C04FC964FF", false},
        {"6F9619FF-8B86-D011-B42D-00C04FC964 F", false},
    };
    for (const auto& [text, isUuid] : rows) EXPECT_EQ(Uuid::parse(text).has_value(), isUuid) << text;
    EXPECT_EQ(Uuid::parse(rows[1].text).value_or(Uuid()).text(), rows[0].text);
}

TEST(Timestamp, ReadsWholeSecondsWithAZone) {
    struct Row {
        std::string_view text;
        std::string inUtc; // empty: not a time
    };
    const Row rows[] = {
        {"2025-03-14T09:26:53Z", "2025-03-14T09:26:53Z"},
        {"2025-03-14T09:26:53+01:00", "2025-03-14T08:26:53Z"},
        {"2025-03-14T09:26:53-0530", "2025-03-14T14:56:53Z"},
        {"2024-12-31T23:30:00-01:00", "2025-01-01T00:30:00Z"},
        {"2024-02-29T00:00:00Z", "2024-02-29T00:00:00Z"},
        {"1969-12-31T23:59:59Z", "1969-12-31T23:59:59Z"},
        {"9999-12-31T23:59:59Z", "9999-12-31T23:59:59Z"},
        {"9999-12-31T23:59:59-00:01", ""},
        {"0000-01-01T00:00:00+00:01", ""},
        {"2025-02-29T00:00:00Z", ""},
        {"2025-13-01T00:00:00Z", ""},
        {"2025-03-14T24:00:00Z", ""},
        {"2025-03-14T09:60:00Z", ""},
        {"2025-03-14T09:26:53", ""},
        {"2025-03-14T09:26:53.5Z", ""},
        {"2025-03-14 09:26:53Z", ""},
        {"2025-03-14T09:26:53+24:00", ""},
        {"2025-03-14T09:26:53+1:00", ""},
        {"2025-03-14T09:26:53Zulu", ""},
        {"2025-03-14", ""},
        {"", ""},
    };
    for (const auto& [text, inUtc] : rows) {
        const auto time = parseTimestamp(text);
        EXPECT_EQ(time ? timestampText(*time).value_or("unwritable") : "", inUtc) << text;
    }
}

TEST(Colour, ReadsSixDigitsAfterAHash) {
    EXPECT_EQ(parseHexColour("#FF0080"), (Colour{1, 0, 128 / 255.0F}));
    EXPECT_EQ(parseHexColour("#ff0080"), parseHexColour("#FF0080"));
    for (const auto* text :
         {"", "#", "FF0080", "#FF008", "#FF00800", "#GG0080", "#+10080", "# F0080", "#0x0080"}) {
        EXPECT_EQ(parseHexColour(text), std::nullopt) << text;
        EXPECT_EQ(hexColourOrDefault(text), parseHexColour(ProjectSettings().solidHex)) << text;
    }
    for (const auto& gradient : Presets::gradients) {
        EXPECT_TRUE(parseHexColour(gradient.a) && parseHexColour(gradient.b)) << gradient.name;
    }
    for (const auto solid : Presets::solids) EXPECT_TRUE(parseHexColour(solid)) << solid;
}

std::string currentName(const ProjectSettings& settings) {
    const auto look = Look::current(settings);
    return look ? look->name : "";
}

TEST(Look, IsRecognisedBySettings) {
    ProjectSettings paper{.background = BackgroundKind::solid, .solidHex = "#f3efe8", .padding = 0.0702};
    paper.cornerRadius = 12;
    paper.shadow = 0.3;
    ProjectSettings nearlyPaper = paper;
    nearlyPaper.padding = 0.0706;
    EXPECT_EQ(currentName(ProjectSettings()), "Aurora");
    EXPECT_EQ(currentName(paper), "Paper");
    EXPECT_EQ(currentName(nearlyPaper), "");
    EXPECT_EQ(currentName(ProjectSettings{.gradientIndex = 3}), "");
    EXPECT_EQ(currentName(ProjectSettings{.padding = kNotANumber}), "");
}

TEST(Look, AppliedToAnyLookIsTheCurrentOne) {
    for (const Look& before : Look::all()) {
        for (const Look& look : Look::all()) {
            EXPECT_EQ(currentName(look.applied(before.applied(ProjectSettings()))), look.name);
        }
    }
}

TEST(TimeFormat, Tables) {
    struct Row {
        double seconds;
        std::string plain, tenths, timecode, brief;
    };
    const Row rows[] = {
        {0, "0:00", "0:00.0", "00:00.00", "0.0s"},
        {-3, "0:00", "0:00.0", "00:00.00", "0.0s"},
        {kNotANumber, "0:00", "0:00.0", "00:00.00", "0.0s"},
        {kInfinity, "0:00", "0:00.0", "00:00.00", "0.0s"},
        {4.24, "0:04", "0:04.2", "00:04.24", "4.2s"},
        {5.25, "0:05", "0:05.2", "00:05.25", "5.2s"},
        {9.96, "0:09", "0:09.9", "00:09.96", "10.0s"},
        {10, "0:10", "0:10.0", "00:10.00", "10s"},
        {42.4, "0:42", "0:42.3", "00:42.39", "42s"},
        {42.5, "0:42", "0:42.5", "00:42.50", "43s"},
        {59.6, "0:59", "0:59.6", "00:59.60", "60s"},
        {59.99, "0:59", "0:59.9", "00:59.99", "60s"},
        {75.96, "1:15", "1:15.9", "01:15.95", "1:15"},
        {95, "1:35", "1:35.0", "01:35.00", "1:35"},
        {3599.999, "59:59", "59:59.9", "59:59.99", "59:59"},
        {3600, "60:00", "60:00.0", "1:00:00", "60:00"},
        {3725.5, "62:05", "62:05.5", "1:02:05", "62:05"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(formatTime(row.seconds), row.plain) << row.seconds;
        EXPECT_EQ(formatTime(row.seconds, true), row.tenths) << row.seconds;
        EXPECT_EQ(timecode(row.seconds), row.timecode) << row.seconds;
        EXPECT_EQ(shortDuration(row.seconds), row.brief) << row.seconds;
    }
    EXPECT_FALSE(formatTime(1e300, true).empty());
}

} // namespace
} // namespace glintro
