#include <fstream>
#include <limits>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "core/model/RecordingEvents.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

// Decodes the text as it is and from a file: both must say the same.
Result<RecordingEvents> decodeBothWays(const std::string& text) {
    const TemporaryFolder folder;
    const auto file = folder / "events.json";
    std::ofstream(file, std::ios::binary) << text;
    auto events = decodeEvents(text);
    EXPECT_EQ(events, readEvents(file));
    return events;
}

TEST(Events, ReadsWhatIsThere) {
    using Samples = std::vector<EventSample>;
    struct Row {
        std::string text;
        RecordingEvents expected;
    };
    const std::vector<Row> rows{
        {R"({"version":1,"duration":2.5,"cursor":[],"clicks":[]})", {1, 2.5, {}, {}}},
        {R"( {"clicks":[[1,0.5,1e-1]] , "cursor" : [[-0.1,2,-3]],"duration":4,"version":3.0} )",
         {3, 4, Samples{{{-0.1, 2, -3}}}, Samples{{{1, 0.5, 0.1}}}}},
        {R"({"version":1,"duration":1,"cursor":[[],[1],[1,2],[1,2,3,4]],"clicks":[]})",
         {1, 1, Samples{{{}, 0}, {{1}, 1}, {{1, 2}, 2}, {{1, 2, 3}, 3}}, {}}},
        {R"({"x":{"cursor":[null,[{"y":"\u00e9"}]]},"version":1,"z":null,"duration":1,"cursor":[],"clicks":[],"v":[1]})",
         {1, 1, {}, {}}},
    };
    for (const auto& [text, expected] : rows) {
        const auto events = decodeBothWays(text);
        ASSERT_TRUE(events) << text;
        EXPECT_EQ(*events, expected) << text;
    }
}

TEST(Events, GarbageAnywhereMakesTheFileUndecodable) {
    const std::string valid = R"({"version":1,"duration":2,"cursor":[[0,1,2]],"clicks":[]})";
    std::vector<std::string> texts{
        "",
        "[]",
        "null",
        "7",
        R"("text")",
        R"({"duration":2,"cursor":[],"clicks":[]})",
        R"({"version":1,"cursor":[],"clicks":[]})",
        R"({"version":1,"duration":2,"clicks":[]})",
        R"({"version":1,"duration":2,"cursor":[]})",
        valid + "x",
        valid + std::string(1, '\0'),
        valid + valid,
        std::string(1'000'000, '['),
        R"({"unknown":)" + std::string(1'000'000, '['),
        R"({"unknown":)" + std::string(1'000'000, '[') + std::string(1'000'000, ']') + "}"};
    const std::vector<std::pair<std::string, std::string>> replacements{
        {"1,\"duration", "1.5,\"duration"},
        {"1,\"duration", "\"1\",\"duration"},
        {"1,\"duration", "[1],\"duration"},
        {"2,\"cursor", "null,\"cursor"},
        {"2,\"cursor", "1e999,\"cursor"},
        {"2,\"cursor", "NaN,\"cursor"},
        {"[[0,1,2]]", "[0,1,2]"},
        {"[[0,1,2]]", "[[0,1,\"2\"]]"},
        {"[[0,1,2]]", "[[0,1,null]]"},
        {"[[0,1,2]]", "[[0,1,[2]]]"},
        {"[[0,1,2]]", "[[0,1,2],]"},
        {"[[0,1,2]]", "[{}]"},
        {"[[0,1,2]]", "{}"},
        {"[[0,1,2]]", "[[0,1,true]]"},
        {"[[0,1,2]]", "[[0,1,-Infinity]]"},
        {"[[0,1,2]]", "[[0,01,2]]"},
        {"[[0,1,2]]", "[[0,+1,2]]"},
        {"[[0,1,2]]", "[[0,.1,2]]"},
        {"[[0,1,2]]", "[[0,1,2] [3]]"},
        {"\"clicks\":[]", "\"clicks\":null"},
        {"\"clicks\":[]", "\"x\":\"\xff\""},
    };
    for (const auto& [part, garbage] : replacements) {
        std::string text = valid;
        texts.push_back(text.replace(text.find(part), part.size(), garbage));
    }
    ASSERT_TRUE(decodeBothWays(valid));
    for (const auto& text : texts) {
        const auto events = decodeBothWays(text);
        ASSERT_FALSE(events) << text.substr(0, 100);
        EXPECT_EQ(events.error().message, "The recording’s events file is damaged.");
    }
}

TEST(Events, AListOfAbsurdLengthIsRefused) {
    std::string text = R"({"version":1,"duration":2,"clicks":[],"cursor":[[])";
    for (int i = 0; i < 9'000'000; ++i) text += ",[]";
    EXPECT_FALSE(decodeEvents(text + "]}"));
}

TEST(Events, WhatIsNoRegularFileFailsAtOnce) {
    const TemporaryFolder folder;
    const auto pipe = folder / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    for (const auto& file : {folder / "missing", folder.path(), pipe}) EXPECT_FALSE(readEvents(file)) << file;
}

TEST(Events, NumbersThatAreNotFiniteAreNotWritten) {
    const TemporaryFolder folder;
    const auto file = folder / "events.json";
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(writeEvents({1, notANumber, {}, {}}, file));
    EXPECT_FALSE(writeEvents({1, 1, {{{0, notANumber, 0}}}, {}}, file));
    EXPECT_FALSE(writeEvents({1, 1, {}, {{{0, 0, notANumber}}}}, file));
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_TRUE(writeEvents({1, 1, {{{0, 0, notANumber}, 2}}, {}}, file)) << "a number that is not there";
}

} // namespace
} // namespace glintro
