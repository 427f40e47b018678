#include <gtest/gtest.h>

#include "app/editor/EditorModel.h"
#include "app/player/ReelPlayer.h"
#include "tests/support/EventLoop.h"
#include "tests/support/Reels.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

using test::handleUntil;

// A reel of two seconds that is edited while the real player plays it, without sound.
class EditorPlaysTest : public testing::Test {
  protected:
    EditorPlaysTest() {
        test::application();
        player.setViewSize({160, 90});
        model.open();
    }

    [[nodiscard]] bool rests() {
        return handleUntil([&] { return player.isAtRest() && !clock.isPlaying(); });
    }

    TemporaryFolder folder;
    ReelPlayer player{{}};
    TransientPreferenceStore store;
    Preferences preferences{store};
    EditorModel model{*test::makeReel(folder / "reel", {}), {.player = player, .preferences = preferences}};
    Playback& playback = *model.playback();
    PlaybackClock& clock = *playback.clock();
};

TEST_F(EditorPlaysTest, PlaysFromTheFirstMomentToTheEndAndFromTheStartAgain) {
    playback.seek(1.5);
    playback.togglePlay(); // the movie is not open yet
    ASSERT_TRUE(handleUntil([&] { return !clock.isPlaying(); }));
    EXPECT_EQ(clock.time(), 2);
    playback.togglePlay();
    EXPECT_LT(clock.time(), 1);
    ASSERT_TRUE(handleUntil([&] { return clock.time() > 0.2; }));
    playback.pause();
    EXPECT_NEAR(playback.compositionTime(), player.position(), 1e-6);
    EXPECT_TRUE(rests());
}

TEST_F(EditorPlaysTest, AShotThatIsCutWhileItPlaysLeavesThePlayheadWhereTheReelGoesOn) {
    ASSERT_TRUE(rests());
    playback.seek(1);
    model.actions()->splitAtPlayhead();
    model.actions()->playShot(1);
    ASSERT_TRUE(handleUntil([&] { return !clock.isPlaying(); }));
    EXPECT_NEAR(clock.time(), 1 - playback.frameDuration(), 1e-6);
    EXPECT_EQ(model.selection()->targetNumber(), 2); // selected by the split

    playback.seek(0.5);
    playback.togglePlay();
    model.actions()->cutShot(1);
    ASSERT_TRUE(handleUntil([&] { return clock.time() > 1.1; }));
    EXPECT_NEAR(playback.compositionTime(), clock.time() - 1, 1e-9);
    playback.setIsLooping(true);
    ASSERT_TRUE(handleUntil([&] { return clock.time() > 1.8; }));
    ASSERT_TRUE(handleUntil([&] { return clock.time() < 1.5; }));
    EXPECT_TRUE(clock.isPlaying());
    EXPECT_GE(clock.time(), 1);
}

} // namespace
} // namespace glintro
