#include <sstream>

#include <gtest/gtest.h>

#include "app/shell/CommandLine.h"

namespace glintro {
namespace {

std::vector<std::string> words(const std::string& line) {
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}

template <class Arguments>
Arguments parsed(const std::string& line) {
    const auto command = parseCommandLine(words(line));
    EXPECT_TRUE(command) << line << ": " << (command ? "" : command.error().text);
    const Arguments* arguments = command ? std::get_if<Arguments>(&*command) : nullptr;
    EXPECT_NE(arguments, nullptr) << line;
    return arguments ? *arguments : Arguments{};
}

TEST(CommandLine, SaysWhatWasExpected) {
    struct Row {
        const char* line;
        const char* expected;
    };
    const Row rows[] = {
        {"", "A command is expected: there is no window to open yet."},
        {"render", "REEL is required."},
        {"render a b -o c.mp4", "-o names one file, but several reels are given."},
        {"render a --quick", "“--quick” is not an option of glintro render."},
        {"render a --fps 0", "--fps expects a whole number from 1 to 240, not “0”."},
        {"render a --workers 99999999999999999999", "--workers expects a whole number from 1 to 256"},
        {"render a --look dusk",
         "There is no Look “dusk”. The Looks are Aurora, Studio, Dusk, Midnight, Paper, Mono, Desktop, "
         "Bare."},
        {"render a --preset GIF",
         "--preset expects one of master, gif, square, vertical, youtube, not “GIF”."},
        {"render a --preset gif --format mp4", "--preset gif does not go with --format mp4."},
        {"render a --preset square --fps 60", "--fps does not go with --preset square."},
        {"render a -o b.gif --fps 30", "--fps goes with MP4 movies only."},
        {"still a --at NaN", "--at expects a time in seconds such as 2.5, not “NaN”."},
        {"inspect a --at 1 --at -inf", "--at expects a time in seconds such as 2.5, not “-inf”."},
        {"sample a --size 640",
         "--size expects two even numbers from 64 to 8192 such as 1920x1200, not “640”."},
    };
    for (const Row& row : rows) {
        const auto command = parseCommandLine(words(row.line));
        ASSERT_FALSE(command) << row.line;
        EXPECT_EQ(command.error().status, ExitStatus::wrongUsage) << row.line;
        EXPECT_NE(command.error().text.find(row.expected), std::string::npos) << row.line << "\n"
                                                                              << command.error().text;
        EXPECT_NE(command.error().text.find("--help"), std::string::npos) << row.line;
    }
}

TEST(CommandLine, HelpsWithListsAndRanges) {
    const std::pair<const char*, const char*> rows[] = {{"render --help", "REEL..."},
                                                        {"recover --help", "REEL..."},
                                                        {"sample --help", "0.5 to 3600"},
                                                        {"sample --help", "64 to 8192"},
                                                        {"sample --help", "1 to 120"}};
    for (const auto& [line, part] : rows) {
        const auto command = parseCommandLine(words(line));
        ASSERT_FALSE(command);
        EXPECT_NE(command.error().text.find(part), std::string::npos) << command.error().text;
    }
}

TEST(CommandLine, ReadsWhatRunsOfTheProgramDoNotShow) {
    const auto reel = [](const std::string& line) { return parsed<RenderArguments>(line).reels.front(); };
    const auto fps = [](const std::string& line) { return parsed<RenderArguments>(line).options.fps; };
    EXPECT_EQ(reel("render still"), "still"); // a reel may be called like a command
    EXPECT_EQ(reel("render --fps 24 -- --odd-name"), "--odd-name");
    EXPECT_EQ(fps("render a --fps 060"), 60); // never octal
    EXPECT_EQ(fps("render a --fps 24 --fps 25"), 25);
    EXPECT_EQ(parsed<RecordArguments>("record --no-hevc").hevc, false);
    EXPECT_EQ(parsed<RecordArguments>("record --mic USB").microphone, (DeviceWish{true, "USB"}));
    EXPECT_EQ(parsed<RecordArguments>("record --area -10.5,20,300,200").area, (Rect{-10.5, 20, 300, 200}));
}

} // namespace
} // namespace glintro
