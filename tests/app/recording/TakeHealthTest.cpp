#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "app/recording/TakeHealth.h"
#include "tests/support/WaitUntil.h"

namespace glintro::test {
namespace {

// A take as it is meant to be: at each moment everything has come through, but for what a test spoils.
struct Moment {
    Seconds time = 0;
    int frames = 0;
};
using Spoil = void (*)(Moment, TakeVitals&, std::optional<std::int64_t>& freeSpace);

// The first moment of a minute at which the take is said to be dying, and why; never when it is not.
std::pair<Seconds, std::string> diagnosed(double fps, Spoil spoil) {
    TakeDiagnosis diagnosis(0);
    for (int half = 1; half <= 120; ++half) {
        const Seconds time = half * 0.5;
        const int frames = static_cast<int>(time * fps);
        TakeVitals vitals{frames, frames, frames, false, {time, frames * 1000}};
        std::optional<std::int64_t> freeSpace = 1'000'000'000;
        spoil({time, frames}, vitals, freeSpace);
        if (const auto failure = diagnosis.examine(vitals, freeSpace, time)) return {time, failure->message};
    }
    return {0, ""};
}

TEST(TakeDiagnosis, TellsWhatATakeDiesOfAndLeavesAHealthyOneAlone) {
    struct Row {
        const char* what;
        double fps;
        Spoil spoil;
        Seconds earliest, latest; // 0: never
        const char* says;
    };
    const Row rows[] = {
        {"a busy screen", 60, [](Moment, TakeVitals&, auto&) {}, 0, 0, ""},
        {"a still screen", 1, [](Moment, TakeVitals&, auto&) {}, 0, 0, ""},
        {"free space cannot be told", 60, [](Moment, TakeVitals&, auto& space) { space.reset(); }, 0, 0, ""},
        {"the disk fills up", 60,
         [](Moment now, TakeVitals&, auto& space) {
             space = 300'000'000 - static_cast<int>(now.time) * 10'000'000;
         },
         11, 11, "nearly full"},
        {"the stream falls silent", 60,
         [](Moment now, TakeVitals& vitals, auto&) {
             if (now.time > 10) vitals = {600, 600, 600, false, {10, 600'000}};
         },
         13, 13.5, "no pictures"},
        {"the stream never gives a picture", 60, [](Moment, TakeVitals& vitals, auto&) { vitals = {}; }, 3,
         3.5, "no pictures"},
        {"the encoder hangs while sound is written on", 60,
         [](Moment now, TakeVitals& vitals, auto&) {
             if (now.time > 10) vitals.framesEncoded = 600;
         },
         13, 14, "encoder"},
        {"the encoder hangs on a still screen", 1,
         [](Moment now, TakeVitals& vitals, auto&) {
             if (now.time > 10) vitals.framesEncoded = 10;
         },
         13, 14.5, "encoder"},
        {"nothing reaches the disk", 60,
         [](Moment now, TakeVitals& vitals, auto&) {
             if (now.time > 10) vitals.onDisk = {10, 600'000};
         },
         13, 14, "disk"},
        {"the disk writes every two seconds only", 60,
         [](Moment now, TakeVitals& vitals, auto&) {
             vitals.onDisk.bytes = static_cast<int>(now.time / 2) * 1000;
         },
         0, 0, ""},
        {"a pause of a minute with a moving screen", 60,
         [](Moment now, TakeVitals& vitals, auto&) {
             if (now.time > 10) vitals = {now.frames, 600, 600, true, {9.5, 590'000}};
         },
         0, 0, ""},
        {"a pause in which the stream is silent", 60,
         [](Moment now, TakeVitals& vitals, auto&) {
             if (now.time > 10 && now.time < 50) vitals = {600, 600, 600, true, {9.5, 590'000}};
         },
         0, 0, ""},
        {"the stream does not come back after a pause", 60,
         [](Moment now, TakeVitals& vitals, auto&) {
             if (now.time > 10) vitals = {600, 600, 600, now.time < 50, {9.5, 590'000}};
         },
         52.5, 53.5, "no pictures"},
    };
    for (const Row& row : rows) {
        const auto [time, message] = diagnosed(row.fps, row.spoil);
        EXPECT_GE(time, row.earliest) << row.what << ": " << message;
        EXPECT_LE(time, row.latest) << row.what << ": " << message;
        EXPECT_NE(message.find(row.says), std::string::npos) << row.what << ": " << message;
    }
}

// A process that was stopped for a minute has seen nothing of that minute.
TEST(TakeDiagnosis, CountsOnlyTheTimeInWhichItLooked) {
    TakeDiagnosis diagnosis(0);
    const TakeVitals before{60, 60, 60, false, {1, 60'000}};
    const TakeVitals after{120, 120, 60, false, {1, 60'000}};
    EXPECT_FALSE(diagnosis.examine(before, {}, 1));
    EXPECT_FALSE(diagnosis.examine(after, {}, 61));
    EXPECT_FALSE(diagnosis.examine(after, {}, 62));
    EXPECT_TRUE(diagnosis.examine(after, {}, 122) || diagnosis.examine(after, {}, 123)
                || diagnosis.examine(after, {}, 124));
}

TEST(TakeHealth, SaysOnceThatTheDiskIsNearlyFull) {
    std::atomic<std::int64_t> space = 500'000'000;
    std::atomic<int> asked = 0;
    std::atomic<int> frames = 0;
    std::mutex lock;
    std::vector<std::string> said;
    {
        const TakeHealth health(
            [&] {
                ++asked;
                return space.load();
            },
            [&] {
                const std::int64_t seen = ++frames;
                return TakeVitals{seen, seen, seen, false, {0, seen}};
            },
            [&](const Failure& failure) {
                const std::lock_guard guard(lock);
                said.push_back(failure.message);
            });
        ASSERT_TRUE(waitUntil([&] { return asked >= 2; }));
        {
            const std::lock_guard guard(lock);
            EXPECT_TRUE(said.empty());
        }
        space = 199'999'999;
        ASSERT_TRUE(waitUntil([&] {
            const std::lock_guard guard(lock);
            return !said.empty();
        }));
    }
    ASSERT_EQ(said.size(), 1U);
    EXPECT_EQ(said[0],
              "The disk is nearly full, so the recording was stopped. Everything up to here is kept.");
}

} // namespace
} // namespace glintro::test
