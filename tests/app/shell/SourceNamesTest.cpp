#include <gtest/gtest.h>

#include "app/shell/SourceNames.h"

namespace glintro {
namespace {

using Kind = CaptureSource::Kind;

// The one that is meant, or the words that the complaint must hold.
struct Row {
    const char* name;
    std::optional<Kind> meant;
    std::vector<std::string> complaint = {};
};

void expect(const Row& row, const Result<Kind>& found) {
    if (row.meant) {
        ASSERT_TRUE(found) << row.name << ": " << found.error().message;
        EXPECT_EQ(*found, *row.meant) << row.name;
        return;
    }
    ASSERT_FALSE(found) << row.name;
    for (const std::string& words : row.complaint)
        EXPECT_NE(found.error().message.find(words), std::string::npos) << found.error().message;
}

ShareableWindow window(std::uint32_t id, const char* title, int layer = 0) {
    return {id, title, "XTerm", 0, layer, {0, 0, 400, 300}};
}

TEST(SourceNames, FindsDisplaysByNumberAndName) {
    const ShareableContent content{
        .displays = {{70, "HDMI-1", {0, 0, 1920, 1080}, 1}, {71, "2", {}, 1}, {72, "", {}, 1}},
        .windows = {}};
    const Row rows[] = {
        {"1", Kind::display(70)},
        {"HDMI-1", Kind::display(70)},
        {"2", Kind::display(71)},
        {"3", Kind::display(72)},
        {"0", {}, {"no display “0”", "1 (HDMI-1), 2 (2), 3."}},
        {"4", {}, {"no display “4”"}},
        {"hdmi", {}, {"no display “hdmi”"}},
    };
    for (const Row& row : rows) expect(row, displayNamed(row.name, content));
    EXPECT_EQ(displayNamed("1", {}).error().message, "There is no display to record.");
}

TEST(SourceNames, FindsWindowsByIdAndTitle) {
    const ShareableContent content{.displays = {},
                                   .windows = {window(16, "Notes"),
                                               window(17, "Terminal 1"),
                                               window(18, "Terminal 2"),
                                               window(19, "Terminal"),
                                               window(20, "Twins"),
                                               window(21, "Twins"),
                                               window(22, "Dock", 1),
                                               window(23, "17"),
                                               {24, "", "Calculator", 0, 0, {}}}};
    const Row rows[] = {
        {"16", Kind::window(16)},
        {"0x10", Kind::window(16)},
        {"17", Kind::window(17)}, // an id goes before a title
        {"22", Kind::window(22)}, // what is no ordinary window has to be named by its id
        {"Terminal", Kind::window(19)},
        {"note", Kind::window(16)},
        {"minal", {}, {"names 3 windows", "“Terminal 1” (id 17)", "(id 18)", "(id 19)"}},
        {"Twins", {}, {"names 2 windows", "(id 20)", "(id 21)"}},
        {"Dock", {}, {"no window “Dock”", "“Notes” (id 16)"}},
        {"99", {}, {"no window “99”", "“Twins” (id 21) and 2 more."}},
        {"xterm", {}, {"names 7 windows"}}, // an application goes behind the titles
        {"CALCULATOR", Kind::window(24)},
    };
    for (const Row& row : rows) expect(row, windowNamed(row.name, content));
    EXPECT_EQ(windowNamed("x", {}).error().message, "There is no window “x”, nor any other.");
}

} // namespace
} // namespace glintro
