#include <future>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "app/recording/TakeHealth.h"

namespace glintro::test {
namespace {

// A take as it is meant to be: at each moment everything has come through, but for what a test spoils.
struct Moment {
    Seconds time = 0;
    int frames = 0;
};
using Spoil = void (*)(Moment, TakeVitals&);

// The first moment of a minute at which the take is said to be dying, and why; never when it is not.
std::pair<Seconds, std::string> diagnosed(double fps, Spoil spoil) {
    TakeDiagnosis diagnosis(0);
    for (int half = 1; half <= 120; ++half) {
        const Seconds time = half * 0.5;
        const int frames = static_cast<int>(time * fps);
        TakeVitals vitals{frames, frames, frames, false, {time, frames * 1000}};
        vitals.disk.freeSpace = 1'000'000'000;
        spoil({time, frames}, vitals);
        if (const auto failure = diagnosis.examine(vitals, time)) return {time, failure->message};
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
        {"a busy screen", 60, [](Moment, TakeVitals&) {}, 0, 0, ""},
        {"a still screen", 1, [](Moment, TakeVitals&) {}, 0, 0, ""},
        {"free space cannot be told", 60, [](Moment, TakeVitals& vitals) { vitals.disk = {}; }, 0, 0, ""},
        {"the disk fills up", 60,
         [](Moment now, TakeVitals& vitals) {
             vitals.disk.freeSpace = 300'000'000 - static_cast<int>(now.time) * 10'000'000;
         },
         11, 11, "nearly full"},
        {"the stream falls silent", 60,
         [](Moment now, TakeVitals& vitals) {
             if (now.time > 10) vitals = {600, 600, 600, false, {10, 600'000}};
         },
         13, 13.5, "no pictures"},
        {"the stream never gives a picture", 60, [](Moment, TakeVitals& vitals) { vitals = {}; }, 3, 3.5,
         "no pictures"},
        {"the encoder hangs while sound is written on", 60,
         [](Moment now, TakeVitals& vitals) {
             if (now.time > 10) vitals.framesEncoded = 600;
         },
         13, 14, "encoder"},
        {"the encoder hangs on a still screen", 1,
         [](Moment now, TakeVitals& vitals) {
             if (now.time > 10) vitals.framesEncoded = 10;
         },
         13, 14.5, "encoder"},
        {"nothing reaches the disk", 60,
         [](Moment now, TakeVitals& vitals) {
             if (now.time > 10) vitals.onDisk = {10, 600'000};
         },
         13, 14, "disk"},
        {"the disk writes every two seconds only", 60,
         [](Moment now, TakeVitals& vitals) { vitals.onDisk.bytes = static_cast<int>(now.time / 2) * 1000; },
         0, 0, ""},
        {"a pause of a minute with a moving screen", 60,
         [](Moment now, TakeVitals& vitals) {
             if (now.time > 10) vitals = {now.frames, 600, 600, true, {9.5, 590'000}};
         },
         0, 0, ""},
        {"a pause in which the stream is silent", 60,
         [](Moment now, TakeVitals& vitals) {
             if (now.time > 10 && now.time < 50) vitals = {600, 600, 600, true, {9.5, 590'000}};
         },
         0, 0, ""},
        {"the stream does not come back after a pause", 60,
         [](Moment now, TakeVitals& vitals) {
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
    EXPECT_FALSE(diagnosis.examine(before, 1));
    EXPECT_FALSE(diagnosis.examine(after, 61));
    EXPECT_FALSE(diagnosis.examine(after, 62));
    EXPECT_TRUE(diagnosis.examine(after, 122) || diagnosis.examine(after, 123)
                || diagnosis.examine(after, 124));
}

// Finishing is let go after some seconds without progress, not when it is slow or was stopped.
TEST(ProgressWatch, CountsTheTimeSinceTheLastProgress) {
    ProgressWatch watch;
    Seconds time = 0;
    for (int progress = 0; progress < 20; ++progress, time += 0.9)
        EXPECT_LT(watch.stalledFor(progress, time), 1);
    for (int i = 0; i < 10; ++i, time += 0.5) (void)watch.stalledFor(19, time);
    EXPECT_NEAR(watch.stalledFor(19, time), 5, 1);
    EXPECT_LE(watch.stalledFor(19, time + 1000), 7) << "stopped meanwhile";
    EXPECT_EQ(watch.stalledFor(20, time + 1001), 0);
}

// A disk that answers nothing is what the watch is for: it must neither wait for the disk nor be kept by it.
TEST(TakeHealth, SaysThatTheDiskStallsWhileTheDiskHangs) {
    std::promise<void> answers;
    const std::shared_future<void> answer = answers.get_future().share();
    std::promise<std::string> said;
    {
        const DiskWatch disk([answer] {
            answer.wait();
            return DiskState{};
        });
        std::int64_t frames = 0;
        const TakeHealth health(
            [&] {
                return TakeVitals{++frames, frames, 1, false, {1, 1}, disk.latest()};
            },
            [&](const Failure& failure) { said.set_value(failure.message); });
        auto sentence = said.get_future();
        ASSERT_EQ(sentence.wait_for(std::chrono::seconds(60)), std::future_status::ready);
        EXPECT_NE(sentence.get().find("no longer reaches the disk"), std::string::npos) << "not the encoder";
    }
    answers.set_value(); // whoever comes here did not wait for it
}

} // namespace
} // namespace glintro::test
