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

TEST(CommandLine, ReadsRender) {
    const auto all = parsed<RenderArguments>(
        "render reels/a -o out/b.MP4 --short-side 720 --fps 30 --aspect "
        "9:16 --fill --look Dusk --workers 3 --json");
    EXPECT_EQ(all.reels, std::vector<std::filesystem::path>{"reels/a"});
    EXPECT_EQ(all.output, "out/b.MP4");
    const ExportOptions expected{.shortSide = 720, .fps = 30, .aspect = AspectRatio::tall, .fill = true};
    EXPECT_EQ(all.options, expected);
    EXPECT_EQ(all.look, Look::named("Dusk"));
    EXPECT_EQ(all.workers, 3);
    EXPECT_EQ(all.report, Report::json);

    const auto none = parsed<RenderArguments>("render still"); // a reel may be called like a command
    EXPECT_EQ(none.reels, std::vector<std::filesystem::path>{"still"});
    EXPECT_EQ(none.options, ExportOptions());
    EXPECT_FALSE(none.output || none.look);
    EXPECT_EQ(none.report, Report::text);
    EXPECT_EQ(parsed<RenderArguments>("render --fps 24 -- --odd-name").reels.front(), "--odd-name");
    EXPECT_EQ(parsed<RenderArguments>("render a --fps 060").options.fps, 60); // never octal
    EXPECT_EQ(parsed<RenderArguments>("render a --fps 24 --fps 25").options.fps, 25);
}

TEST(CommandLine, ReadsRecord) {
    const auto none = parsed<RecordArguments>("record");
    EXPECT_FALSE(none.display || none.window || none.area || none.seconds || none.output || none.hevc
                 || none.fps || none.choose);
    EXPECT_EQ(none.microphone, DeviceWish());

    const auto all = parsed<RecordArguments>(
        "record --area -10.5,20,300,200 --seconds 2.5 --mic --camera /dev/video1 --fps 30 --choose --hevc -o "
        "a "
        "--json");
    EXPECT_EQ(all.area, (Rect{-10.5, 20, 300, 200}));
    EXPECT_EQ(all.seconds, 2.5);
    EXPECT_EQ(all.microphone, (DeviceWish{true, std::nullopt}));
    EXPECT_EQ(all.camera, (DeviceWish{true, "/dev/video1"}));
    EXPECT_EQ(all.fps, 30);
    EXPECT_TRUE(all.choose && all.hevc == true);
    EXPECT_EQ(parsed<RecordArguments>("record --no-hevc").hevc, false);
    EXPECT_EQ(all.output, "a");
    EXPECT_EQ(all.report, Report::json);
    EXPECT_EQ(parsed<RecordArguments>("record --window 0x1200003").window, "0x1200003");
    EXPECT_EQ(parsed<RecordArguments>("record --mic USB --display 2").microphone, (DeviceWish{true, "USB"}));
    EXPECT_EQ(parsed<SourcesArguments>("sources --json").report, Report::json);
}

} // namespace
} // namespace glintro
