#include <gtest/gtest.h>

#include "app/recording/CaptureSource.h"

namespace glintro {
namespace {

using Kind = CaptureSource::Kind;

TEST(CaptureSource, OffersWindowsWorthRecording) {
    constexpr std::int64_t own = 42;
    struct Row {
        const char* what;
        ShareableWindow window;
        bool isOffered;
    };
    const auto sized = [](double width, double height) {
        return ShareableWindow{1, "Notes", "Editor", 7, 0, {0, 0, width, height}};
    };
    const Row rows[] = {
        {"narrow", sized(150, 400), false},
        {"just too narrow", sized(160, 400), false},
        {"just too low", sized(400, 120), false},
        {"just large enough", sized(161, 121), true},
        {"a panel", {1, "Notes", "Editor", 7, 1, {0, 0, 400, 300}}, false},
        {"one of ours", {1, "Notes", "Editor", own, 0, {0, 0, 400, 300}}, false},
        {"nobody's", {1, "Notes", "", 7, 0, {0, 0, 400, 300}}, false},
        {"of an unknown process", {1, "Notes", "Editor", 0, 0, {0, 0, 400, 300}}, true},
    };
    for (const Row& row : rows) {
        const auto sources = windowSources({{}, {row.window}}, own);
        EXPECT_EQ(sources.size(), row.isOffered ? 1 : 0) << row.what;
    }
}

TEST(CaptureSource, PutsAnAreaOnTheDisplayThatShowsMostOfIt) {
    const ShareableContent content{
        .displays = {{1, "left", {0, 0, 1920, 1080}, 1}, {2, "right", {1920, 200, 1536.5, 864}, 1.25}},
        .windows = {}};
    struct Row {
        Rect area;
        std::uint32_t display;
        Rect inside;
        const char* complaint;
    };
    const Row rows[] = {
        {{100, 50, 640, 480}, 1, {100, 50, 640, 480}, ""},
        {{0, 0, 1920, 1080}, 1, {0, 0, 1920, 1080}, ""},
        {{2000, 250, 64, 64}, 2, {2000, 250, 64, 64}, ""},
        {{1920, 200, 1537, 864}, 2, {1920, 200, 1536.5, 864}, ""}, // rounded outwards to whole points
        {{1800, 300, 400, 100}, 2, {1920, 300, 280, 100}, ""},     // across both displays
        {{1700, 300, 400, 100}, 1, {1700, 300, 220, 100}, ""},
        {{1700, 0, 400, 1080}, 1, {1700, 0, 220, 1080}, ""}, // and beside the right one
        {{100, 100, 0, 480}, 0, {}, "is empty"},
        {{100, 100, 640, -1}, 0, {}, "is empty"},
        {{100, 2000, 640, 480}, 0, {}, "outside of every display"},
        {{1920, 0, 100, 100}, 0, {}, "outside of every display"}, // beside the right one's top
        {{-10, 0, 100, 100}, 0, {}, "over the edge"},
    };
    for (const Row& row : rows) {
        const auto filter = filterFor(row.area, content);
        if (row.display == 0) {
            ASSERT_FALSE(filter) << row.complaint;
            EXPECT_NE(filter.error().message.find(row.complaint), std::string::npos)
                << filter.error().message;
            continue;
        }
        ASSERT_TRUE(filter) << filter.error().message;
        EXPECT_EQ(std::get<DisplayFilter>(*filter).display, row.display);
        EXPECT_EQ(std::get<DisplayFilter>(*filter).area, row.inside);
    }
}

TEST(CaptureSource, LeavesTheChoiceToTheSystemsDialog) {
    const ShareableContent content{
        .displays = {{1, "", {}, 1}}, .windows = {{2, "", "", 0, 0, {}}}, .chosenInDialog = true};
    EXPECT_EQ(displaySources(content).size(), 1);
    EXPECT_EQ(windowSources(content, 1).size(), 1);
    const auto filter = filterFor(Rect{5, 6, 70, 80}, content);
    ASSERT_TRUE(filter);
    EXPECT_EQ(std::get<DisplayFilter>(*filter).area, (Rect{5, 6, 70, 80}));
}

} // namespace
} // namespace glintro
