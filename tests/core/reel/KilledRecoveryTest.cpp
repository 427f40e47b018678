#include <memory>
#include <random>
#include <thread>

#include <fmt/format.h>

#include "platform/HostClock.h"
#include "tests/core/reel/InterruptedTakes.h"
#include "tests/support/ForkedProcess.h"
#include "tests/support/WaitUntil.h"

namespace glintro::test {
namespace {

namespace fs = std::filesystem;
using KilledRecovery = RecoveryFixture;
using Outcome = RecoveredReel::Outcome;

// A recovery that is killed again and again ends where one that is left alone does.
TEST_F(KilledRecovery, MayItselfBeKilledAtAnyMoment) {
    std::minstd_rand random(7);
    int interrupted = 0;
    for (int round = 0; round < 25; ++round) {
        const fs::path reel = folder("round " + std::to_string(round));
        putInterruptedMovie(reel / "raw.mov");
        putFile(reel / "project.json", "damaged");
        putJournal(reel);
        for (int kills = 0; kills < 3; ++kills) {
            ForkedProcess process([&] { return recoverReel(reel, {}).has_value(); });
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 5000));
            (void)process.kill();
            if (needsRecovery(reel)) ++interrupted;
        }
        const auto recovered = recoverReel(reel, {});
        ASSERT_TRUE(recovered) << recovered.error().message;
        expectWholeReel(*recovered->project);
        EXPECT_EQ(filesIn(reel)["project-damaged.json"], "damaged");
        fs::remove_all(reel);
    }
    EXPECT_GT(interrupted, 0) << "no kill came in time to be of any use";
}

// A take in real time, with a click every half second.
bool record(const fs::path& folder) {
    const auto journal = TakeJournal::create(folder).value();
    TakeMaker take(folder / "raw.mov", TakeMaker::Sound::tone);
    const Seconds begin = hostTime();
    journal->firstFrame(begin);
    for (int frame = 0;; ++frame) {
        const Seconds time = begin + take.end();
        while (hostTime() < time) std::this_thread::sleep_for(std::chrono::milliseconds(2));
        take.writeFrame();
        journal->sample({time, {0.5, 0.5}});
        if (frame % 10 == 0) journal->click({time, {0.5, 0.5}});
    }
    return false;
}

TEST_F(KilledRecovery, LosesAtMostTwoSecondsToAKill) {
    constexpr Seconds kLoss = 2;
    std::minstd_rand random(std::random_device{}());
    struct Take {
        fs::path folder;
        std::unique_ptr<ForkedProcess> process;
        Seconds length; // until it is killed
    };
    for (int round = 0; round < 2; ++round) {
        std::vector<Take> takes;
        for (int i = 0; i < 5; ++i) {
            const fs::path reel = folder(fmt::format("take {}-{}", round, i));
            const Seconds length = 2.5 + static_cast<double>(random() % 2500) / 1000;
            takes.push_back({reel, std::make_unique<ForkedProcess>([&] { return record(reel); }), length});
        }
        for (const Take& take : takes)
            ASSERT_TRUE(waitUntil([&] {
                const auto record = TakeJournal::read(take.folder);
                return record && record->firstFrameHost > 0
                       && hostTime() - record->firstFrameHost > take.length;
            }));
        for (const Take& take : takes) {
            const Seconds killed = hostTime() - TakeJournal::read(take.folder)->firstFrameHost;
            ASSERT_TRUE(take.process->kill());
            EXPECT_TRUE(needsRecovery(take.folder));
            const auto recovered = recoverReel(take.folder, {});
            ASSERT_TRUE(recovered) << recovered.error().message;
            ASSERT_EQ(recovered->outcome, Outcome::recovered) << killed;
            const Project& reel = *recovered->project;
            EXPECT_GE(reel.info.duration, killed - kLoss);
            EXPECT_LE(reel.info.duration, killed + 1);
            EXPECT_TRUE(reel.info.hasAudio);
            const RecordingEvents events = reel.loadEvents();
            for (std::size_t i = 0; static_cast<double>(i) / 2 < killed - kLoss; ++i) {
                ASSERT_LT(i, events.clicks.size());
                EXPECT_NEAR(events.clicks[i].sourceTime(), static_cast<double>(i) / 2, 1e-6);
            }
            EXPECT_GE(events.cursor.size(), static_cast<std::size_t>((killed - kLoss) * kTakeFps));
        }
    }
}

} // namespace
} // namespace glintro::test
