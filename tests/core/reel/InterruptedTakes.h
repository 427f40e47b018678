#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/media/decode/MovieReader.h"
#include "core/reel/Recovery.h"
#include "core/reel/TakeJournal.h"
#include "tests/core/reel/Takes.h"
#include "tests/support/Files.h"
#include "tests/support/TemporaryFolder.h"

// Reels as a process that died leaves them.
namespace glintro::test {

inline constexpr Seconds kFirstFrame = 5000; // host time of all takes made here

// Three seconds, cut off somewhere in the last one.
inline void putInterruptedMovie(const std::filesystem::path& file,
                                TakeMaker::Sound sound = TakeMaker::Sound::tone) {
    TakeMaker(file, sound).writeFrames(60);
}

inline void putFinishedMovie(const std::filesystem::path& file) {
    TakeMaker take(file, TakeMaker::Sound::tone);
    take.writeFrames(60);
    take.finish();
}

inline void putJournal(const std::filesystem::path& folder,
                       const std::function<void(TakeJournal&)>& more = {}) {
    const auto journal = TakeJournal::create(folder).value();
    journal->firstFrame(kFirstFrame);
    for (const Seconds time : {-0.1, 0.5, 1.0, 1.5}) journal->sample({kFirstFrame + time, {time, 0.5}});
    journal->click({kFirstFrame + 1, {0.25, 0.75}});
    if (more) more(*journal);
}

// What a take of putInterruptedMovie and putJournal becomes.
inline void expectWholeReel(const Project& reel) {
    EXPECT_GE(reel.info.duration, 2);
    EXPECT_LE(reel.info.duration, 3.001);
    EXPECT_EQ(reel.sourceSize(), (Size{160, 100}));
    EXPECT_TRUE(reel.info.hasAudio);
    const RecordingEvents events = reel.loadEvents();
    ASSERT_EQ(events.cursor.size(), 4U);
    EXPECT_NEAR(events.cursor[0].sourceTime(), -0.1, 1e-9);
    EXPECT_EQ(events.clicks, (std::vector<EventSample>{{{1, 0.25, 0.75}}}));
    EXPECT_NEAR(events.duration, reel.info.duration, 0.05);
    EXPECT_EQ(reel.info.settings.zooms.size(), 1U);
    EXPECT_FALSE(needsRecovery(reel.folder()));
    const auto movie = MovieReader::open(reel.rawURL());
    ASSERT_TRUE(movie);
    EXPECT_TRUE((*movie)->frameAt(reel.info.duration));
}

class RecoveryFixture : public testing::Test {
  protected:
    // A whole take of three seconds with a byte changed.
    std::string damagedMovie(std::size_t position) const {
        putInterruptedMovie(home_ / "movie");
        std::string bytes = filesIn(home_.path())["movie"];
        std::filesystem::remove(home_ / "movie");
        bytes[position] ^= 0x10;
        return bytes;
    }
    std::filesystem::path folder(const std::string& name) const {
        std::filesystem::create_directory(home_ / name);
        return home_ / name;
    }
    TemporaryFolder home_;
};

} // namespace glintro::test
