#include <limits>

#include <gtest/gtest.h>

#include "app/shell/ProgressBar.h"
#include "app/shell/TerminalText.h"

namespace glintro {
namespace {

TEST(ProgressBar, TellsFrameRateAndTimeLeft) {
    const Progress half{.fraction = 0.5, .written = 600, .total = 1200, .elapsed = 10};
    EXPECT_EQ(progressLine(half, 70),
              " 50%  ━━━━━━━━━━━╌╌╌╌╌╌╌╌╌╌╌╌  0:10 left  600/1200 frames  60 frames/s");
    EXPECT_EQ(progressLine(half, 30), " 50%  ━━━━━━╌╌╌╌╌╌╌  0:10 left");
    EXPECT_EQ(progressLine(half, 16), " 50%  0:10 left");
    EXPECT_EQ(progressLine(half, 3), "");
    EXPECT_TRUE(progressLine({.fraction = 0.5, .written = 0, .total = 1}, 70).ends_with("0/1 frame"));
}

TEST(ProgressBar, NeverClaimsToBeDoneBeforeItIs) {
    EXPECT_TRUE(progressLine({.fraction = 0.9999}, 80).starts_with(" 99%"));
    EXPECT_TRUE(progressLine({.fraction = 1}, 80).starts_with("100%"));
}

TEST(ProgressBar, FitsEveryTerminal) {
    const double infinity = std::numeric_limits<double>::infinity();
    const Progress states[] = {{},
                               {.fraction = infinity, .written = -1, .total = 5, .elapsed = infinity},
                               {.fraction = -1},
                               {.fraction = 1e-300, .written = 1, .total = 1 << 30, .elapsed = 1e9},
                               {.fraction = 1, .written = 1200, .total = 1200, .elapsed = 12}};
    for (const Progress& state : states) {
        for (int columns = -1; columns < 200; ++columns)
            EXPECT_LE(columnsOf(progressLine(state, columns)), std::max(columns, 0));
    }
}

TEST(TerminalText, AlignsCellsByColumnsNotBytes) {
    TextTable table({{"Name"}, {"Rate", TextTable::Align::right}});
    table.add({"é", "2×"});
    table.add({"long name", "0.25×"});
    EXPECT_EQ(table.text(),
              "  Name        Rate\n"
              "  é             2×\n"
              "  long name  0.25×\n");
}

TEST(TerminalText, CutsLongTextsBetweenCharacters) {
    EXPECT_EQ(shortened("Käse", 4), "Käse");
    EXPECT_EQ(shortened("Käse", 3), "Kä…");
    EXPECT_EQ(shortened("Käse", 2), "K…");
    EXPECT_EQ(shortened(std::string(70'000, 'x') + "ä", 40), std::string(39, 'x') + "…");
}

TEST(TerminalText, ShowsNoControlCharacters) {
    EXPECT_EQ(printable("a\x1b[2Jb\nc\xC2\x9B"
                        "31m é"),
              "a [2Jb c 31m é");
}

} // namespace
} // namespace glintro
