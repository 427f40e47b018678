#include <cmath>

#include <gtest/gtest.h>

#include "tests/app/editor/EditParts.h"

namespace glintro {
namespace {

using test::EditParts;

ProjectSettings trimmedAndCut() {
    ProjectSettings settings;
    settings.trimStart = 2;
    settings.trimEnd = 12;
    settings.cuts = {{.start = 5, .end = 7}};
    settings.speeds = {{.start = 8, .end = 10, .rate = 2}};
    return settings; // composition: 2..5 -> 0..3, 7..8 -> 3..4, 8..10 -> 4..5, 10..12 -> 5..7
}

TEST(PlaybackTest, SeeksInsideTheRecordingAndWhereTheReelGoesOn) {
    struct Row {
        Seconds to;
        Seconds playhead;
        Seconds composition;
    };
    EditParts parts(20, trimmedAndCut());
    for (const Row& row : {Row{-3, 0, 0}, Row{25, 20, 7}, Row{3, 3, 1}, Row{6, 6, 3}, Row{9, 9, 4.5}}) {
        parts.playback.seek(row.to);
        EXPECT_EQ(parts.playhead(), row.playhead);
        EXPECT_EQ(parts.player.at, row.composition);
    }
    parts.playback.seek(2.0004); // a second of the player's has 600 units
    EXPECT_EQ(parts.player.at, 0);
    parts.playback.seek(NAN);
    EXPECT_EQ(parts.player.at, 0);
    parts.playback.scrub(4);
    EXPECT_EQ(parts.player.lastKind, SeekKind::scrubbing);
}

TEST(PlaybackTest, PlayAtTheEndStartsAtTheFirstKeptMoment) {
    for (const bool isAtTheEnd : {true, false}) {
        EditParts parts(20, trimmedAndCut());
        parts.playback.seek(isAtTheEnd ? 11.96 : 11.9);
        parts.playback.togglePlay();
        EXPECT_TRUE(parts.player.isPlaying);
        EXPECT_EQ(parts.playhead(), isAtTheEnd ? 2 : 11.9);
        parts.playback.togglePlay();
        EXPECT_FALSE(parts.player.isPlaying);
        EXPECT_FALSE(parts.playback.clock()->isPlaying());
    }
}

TEST(PlaybackTest, ThePlayheadFollowsThePlayerToTheEnd) {
    EditParts parts(20, trimmedAndCut());
    parts.playback.seekToStart();
    parts.playback.togglePlay();
    parts.player.playTo(4.5);
    EXPECT_EQ(parts.playhead(), 9);
    parts.playback.playFaster();
    EXPECT_EQ(parts.player.rate, 2);
    parts.player.playTo(7, true);
    EXPECT_EQ(parts.playhead(), 12);
    EXPECT_FALSE(parts.playback.clock()->isPlaying());
    EXPECT_EQ(parts.player.rate, 1);
    emit parts.player.advanced(1); // comes late
    EXPECT_EQ(parts.playhead(), 12);
}

// The movie takes its time to open; what was pressed meanwhile holds.
TEST(PlaybackTest, PlayPressedWhileOpeningIsNotLost) {
    EditParts parts(20);
    parts.playback.togglePlay();
    parts.player.isPlaying = false; // it had nothing to play
    emit parts.player.opened();
    EXPECT_TRUE(parts.player.isPlaying);
    emit parts.player.failed("");
    EXPECT_FALSE(parts.playback.clock()->isPlaying());
}

TEST(PlaybackTest, StepsGoFromFrameToFrameOfTheReel) {
    struct Row {
        double frame; // of the reel's 420
        int step;
        double to;
    };
    EditParts parts(20, trimmedAndCut());
    const auto frame = [&] { return parts.playback.compositionTime() * 60; };
    for (const Row& row : {Row{10, 1, 11}, Row{10, -1, 9}, Row{10.4, 1, 11}, Row{10.4, -1, 10}, Row{0, -1, 0},
                           Row{179, 1, 180}, Row{180, -1, 179}, Row{270, 1, 271}, Row{418, 1, 419},
                           Row{419, 1, 419}, Row{420, 1, 420}, Row{420, -1, 419}, Row{10, 10, 20}}) {
        parts.playback.seek(parts.edits.map().source(row.frame / 60));
        parts.playback.stepFrames(row.step);
        EXPECT_NEAR(frame(), row.to, 1e-6) << row.frame << " by " << row.step;
    }
    for (int i = 0; i < 1000; ++i) parts.playback.stepFrames(1);
    for (int i = 419; i > 0; --i) {
        EXPECT_NEAR(frame(), i, 1e-6);
        parts.playback.stepFrames(-1);
    }
    EXPECT_NEAR(frame(), 0, 1e-6);
}

TEST(PlaybackTest, AShotPlaysOnceAndStaysInIt) {
    EditParts parts(20, trimmedAndCut());
    parts.actions.playShot(3); // 7..8
    EXPECT_EQ(parts.playhead(), 7);
    EXPECT_EQ(parts.player.range, (PlayRange{3, 4}));
    parts.edits.edit([](auto& settings) { settings.trimStart = 1; });
    parts.playback.keepRange(); // as it is on the new map
    EXPECT_EQ(parts.player.range, (PlayRange{4, 5}));
    parts.player.playTo(5 - 1 / 60.0, true);
    EXPECT_FALSE(parts.playback.clock()->isPlaying());
    EXPECT_EQ(parts.player.range, std::nullopt);
    EXPECT_EQ(parts.selection.targetNumber(), 3);

    parts.actions.playShot(3);
    parts.playback.seek(11); // whoever looks elsewhere has left the shot
    EXPECT_EQ(parts.player.range, std::nullopt);
    EXPECT_TRUE(parts.player.isPlaying);

    parts.playback.pause();
    parts.actions.playShot(2); // is cut
    EXPECT_FALSE(parts.player.isPlaying);
}

} // namespace
} // namespace glintro
