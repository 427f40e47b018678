#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/reel/TakeJournal.h"
#include "tests/core/media/FileSizeLimit.h"
#include "tests/support/Files.h"
#include "tests/support/ForkedProcess.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using test::contentOf;
using test::putFile;
using test::waitUntil;

std::unique_ptr<TakeJournal> journalIn(const TemporaryFolder& folder) {
    return TakeJournal::create(folder.path()).value();
}

// A take with everything that a journal can tell.
void logTake(TakeJournal& journal) {
    journal.pointerIsEmbedded();
    journal.sample({99.98, {-0.25, 1.5}});
    journal.firstFrame(100.1);
    journal.cameraStarted(100.4);
    journal.click({101, {0.1, 1.0 / 3}});
    journal.pause(102);
    journal.resume(103.5);
    journal.pause(104);
    journal.sample({104.5, {1e-17, 0.9999999999999999}});
}

TakeRecord loggedTake() {
    return {.firstFrameHost = 100.1,
            .cameraStartHost = 100.4,
            .pointerIsEmbedded = true,
            .pauses = {{{102, 103.5}, {104, std::nullopt}}},
            .samples = {{99.98, {-0.25, 1.5}}, {104.5, {1e-17, 0.9999999999999999}}},
            .clicks = {{101, {0.1, 1.0 / 3}}}};
}

TEST(TakeJournal, TellsWhatWasLoggedBitForBit) {
    const TemporaryFolder folder;
    EXPECT_FALSE(TakeJournal::read(folder.path()));
    const auto journal = journalIn(folder);
    logTake(*journal);
    EXPECT_EQ(journal->record(), loggedTake()) << "at once";
    EXPECT_EQ(TakeJournal::read(folder.path()), loggedTake());
    fs::remove(TakeJournal::fileIn(folder.path()));
    journal->click({105, {0, 0}});
    EXPECT_EQ(journal->record().clicks.size(), 2U) << "also when somebody has deleted the file";
}

TEST(TakeJournal, IsOnItsWayToTheDiskWithoutAnotherCall) {
    const TemporaryFolder folder;
    const auto journal = journalIn(folder);
    logTake(*journal);
    EXPECT_TRUE(waitUntil([&] { return TakeJournal::read(folder.path()) == loggedTake(); }));
    const auto file = TakeJournal::fileIn(folder.path());
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    TakeJournal::remove(folder.path());
    journal->pause(1);
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(TakeJournal, CannotBeMadeWhereThereIsNoFolder) {
    const auto journal = TakeJournal::create("/nowhere/at/all");
    ASSERT_FALSE(journal);
    EXPECT_NE(journal.error().message.find("/nowhere/at/all"), std::string::npos);
}

// How many lines of logTake a record shows.
std::size_t linesIn(const TakeRecord& record) {
    std::size_t count = record.samples.size() + record.clicks.size() + (record.pointerIsEmbedded ? 1 : 0)
                        + (record.firstFrameHost > 0 ? 1 : 0) + (record.cameraStartHost > 0 ? 1 : 0);
    for (const PauseClock::Gap& gap : record.pauses.gaps) count += gap.end ? 2 : 1;
    return count;
}

// A cut at any byte costs the line it falls into and those behind, and noise or zeros that a power cut left
// behind a whole line cost nothing.
TEST(TakeJournal, EndsWhereItIsTorn) {
    const TemporaryFolder folder;
    { logTake(*journalIn(folder)); }
    const fs::path file = TakeJournal::fileIn(folder.path());
    const std::string whole = contentOf(file);
    const std::string tails[] = {"", std::string(70'000, '\0'), std::string("\0\ns 1 2 3\n", 10),
                                 " 1 2 3\ns 1 2 3\n"};
    std::size_t wholeLines = 0;
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const std::string kept = whole.substr(0, length);
        if (kept.ends_with('\n')) ++wholeLines;
        for (const std::string& tail : tails) {
            putFile(file, kept + tail);
            const auto record = TakeJournal::read(folder.path());
            ASSERT_TRUE(record);
            EXPECT_EQ(linesIn(*record), wholeLines > 0 ? wholeLines - 1 : 0)
                << length << testing::PrintToString(tail);
            if (!kept.ends_with('\n')) break; // noise may complete a torn line to one of ours
        }
    }
    EXPECT_EQ(wholeLines, 10U);
}

TEST(TakeJournal, EndsAtALineThatIsNotItsOwn) {
    const std::string begin = "glintro-take 1\ns 1 0 0\n";
    const char* rows[] = {"",           "s 1 0\n",        "s 1 0 0 0\n",   "s 1 0 nan\n",  "s 1 0 inf\n",
                          "s  1 0 0\n", "s 1 0 0 \n",     "pause\n",       "pause x\n",    "pause 1 2 3\n",
                          "what 1\n",   "first 0x1p3 \n", "s 1 0 1e999\n", "embedded 1\n", "glintro-take 1\n",
                          "\n",         "s 1,5 0 0\n",    "s 1 0 0\r\n"};
    const TemporaryFolder folder;
    const fs::path file = TakeJournal::fileIn(folder.path());
    for (const std::string line : rows) {
        putFile(file, begin + line + "s 2 0 0\n");
        const auto record = TakeJournal::read(folder.path());
        ASSERT_TRUE(record);
        EXPECT_EQ(record->samples.size(), line.empty() ? 2U : 1U) << line;
        EXPECT_EQ(record->clicks.size() + record->pauses.gaps.size(), 0U) << line;
    }
    putFile(file, "glintro-take 2\ns 1 0 0\n");
    EXPECT_EQ(TakeJournal::read(folder.path()), TakeRecord()) << "a form that is not known yet";
    fs::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    EXPECT_FALSE(TakeJournal::read(folder.path())) << "a pipe would keep its reader waiting for ever";
    EXPECT_FALSE(TakeJournal::isRunning(folder.path()));
}

TEST(TakeJournal, HoldsAnHourOfSamplesWithATornEnd) {
    constexpr int kHour = 216'000;
    const TemporaryFolder folder;
    {
        const auto journal = journalIn(folder);
        for (int i = 0; i < kHour; ++i) journal->sample({1e6 + i / 60.0, {i / 1920.0, 0.1}});
    }
    fs::resize_file(TakeJournal::fileIn(folder.path()),
                    fs::file_size(TakeJournal::fileIn(folder.path())) - 1);
    const auto record = TakeJournal::read(folder.path());
    ASSERT_TRUE(record);
    ASSERT_EQ(record->samples.size(), kHour - 1U);
    EXPECT_EQ(record->samples.back(), (PointerMoment{1e6 + (kHour - 2) / 60.0, {(kHour - 2) / 1920.0, 0.1}}));
}

// Nor to one on which the middle of a line found no more room.
TEST(TakeJournal, LosesNothingToADiskThatIsFullForAWhile) {
    const TemporaryFolder folder;
    std::unique_ptr<TakeJournal> journal;
    {
        constexpr rlim_t kRoom = 1000;
        const test::FileSizeLimit limit(kRoom);
        journal = journalIn(folder);
        for (int i = 0; i < 500; ++i) journal->sample({100 + i / 60.0, {0.5, 0.5}});
        ASSERT_TRUE(waitUntil([&] { return contentOf(TakeJournal::fileIn(folder.path())).size() == kRoom; }));
        EXPECT_EQ(journal->record().samples.size(), 500U);
    }
    EXPECT_TRUE(waitUntil([&] { return TakeJournal::read(folder.path())->samples.size() == 500; }));
}

TEST(TakeJournal, RunsWhileItsProcessLives) {
    const TemporaryFolder folder;
    const auto samples = [&] {
        const auto record = TakeJournal::read(folder.path());
        return record ? record->samples.size() : 0;
    };
    EXPECT_FALSE(TakeJournal::isRunning(folder.path()));
    test::ForkedProcess process([&] {
        const auto journal = journalIn(folder);
        for (double time = 1;; time += 1.0 / 60) {
            journal->sample({time, {0.5, 0.5}});
            ::usleep(1000);
        }
        return true;
    });
    ASSERT_TRUE(waitUntil([&] { return samples() > 100; }));
    EXPECT_TRUE(TakeJournal::isRunning(folder.path()));
    EXPECT_TRUE(TakeJournal::isRunning(folder.path())) << "asking does not disturb";
    process.kill();
    EXPECT_FALSE(TakeJournal::isRunning(folder.path()));
    EXPECT_GT(samples(), 100U);
    { const auto journal = journalIn(folder); }
    EXPECT_FALSE(TakeJournal::isRunning(folder.path())) << "nor one whose journal was closed";
}

TEST(TakeRecord, ItsEventsAreWhatLiesInTheRecording) {
    struct Row {
        const char* what;
        Seconds hostTime;
        std::optional<double> sample; // where it comes to lie, when it is kept
        bool isClick;
    };
    // A recording of 10 seconds from 100, paused from 104 to 107.
    const Row rows[] = {{"long before", 99.75, {}, false},       {"just before", 99.875, -0.125, false},
                        {"at the start", 100, 0, true},          {"before the pause", 103.75, 3.75, true},
                        {"as the pause begins", 104, {}, false}, {"in the pause", 106.5, {}, false},
                        {"as the pause ends", 107, 4, true},     {"after the pause", 108.5, 5.5, true},
                        {"at the end", 113, 10, true},           {"just after", 113.125, 10.125, false},
                        {"long after", 113.25, {}, false}};
    for (const Row& row : rows) {
        const PointerMoment moment{row.hostTime, {0.25, 1.75}};
        const TakeRecord take{
            .firstFrameHost = 100, .pauses = {{{104, 107}}}, .samples = {moment}, .clicks = {moment}};
        const RecordingEvents events = take.events(10);
        EXPECT_EQ(events.duration, 10);
        EXPECT_EQ(events.version, 1);
        EXPECT_EQ(events.clicks.size(), row.isClick ? 1U : 0U) << row.what;
        const std::vector<EventSample> kept{{{row.sample.value_or(0), 0.25, 1.75}}};
        EXPECT_EQ(events.cursor, row.sample ? kept : std::vector<EventSample>()) << row.what;
    }
}

TEST(TakeRecord, ItsMarginsBelongToIt) {
    const std::vector<PointerMoment> ends{{-0.2, {}}, {0.2, {}}};
    const TakeRecord take{.samples = ends, .clicks = ends};
    EXPECT_EQ(take.events(0).cursor.size(), 2U);
    EXPECT_TRUE(take.events(0).clicks.empty());
}

TEST(TakeRecord, SortsSamplesButNotThoseOfOneTime) {
    const std::vector<PointerMoment> moments{{3, {0, 0}}, {1, {1, 0}}, {2, {2, 0}}, {1, {3, 0}}};
    const std::vector<EventSample> sorted{{{1, 1, 0}}, {{1, 3, 0}}, {{2, 2, 0}}, {{3, 0, 0}}};
    EXPECT_EQ((TakeRecord{.samples = moments}).events(5).cursor, sorted);
}

} // namespace
} // namespace glintro
