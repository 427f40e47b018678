#include <array>
#include <fstream>

#include <gtest/gtest.h>
#include <unistd.h>

#include "app/recording/CaptureEngine.h"
#include "core/media/decode/MovieReader.h"
#include "core/media/decode/SoundTrack.h"
#include "core/reel/MediaTraces.h"
#include "tests/app/recording/TakeFixture.h"
#include "tests/core/media/FileSizeLimit.h"
#include "tests/support/SmallDisk.h"

namespace glintro::test {
namespace {

constexpr PixelSize kSmall{320, 200};

// Stamps are given ahead of time, so that a slow machine does not make the first one look old.
bool isReached(Seconds time) {
    return waitUntil([time] { return hostTime() > time; });
}

// Luma of a grey of the screen, as it should be in the movie.
int lumaOf(int grey) {
    return 16 + grey * 219 / 255;
}

std::vector<int> lumasAt(const std::filesystem::path& movie, const std::vector<Seconds>& times) {
    const auto reader = MovieReader::open(movie);
    EXPECT_TRUE(reader) << reader.error().message;
    if (!reader) return {};
    std::vector<int> lumas;
    for (const Seconds time : times) {
        const auto frame = (*reader)->frameAt(time);
        EXPECT_TRUE(frame);
        lumas.push_back(frame ? lumaAt(*frame->picture, 0.5, 0.5) : -1);
    }
    return lumas;
}

TEST(CaptureEngine, HoldsTheLastPictureUntilTheStopOnlyWhenItIsYoung) {
    struct Row {
        Seconds lastFrameAgo;
        bool isHeld;
    };
    for (const Row& row : {Row{1.5, true}, Row{3, false}}) {
        TakeFixture take({.pixelSize = kSmall});
        ASSERT_TRUE(take.start());
        const Seconds now = hostTime();
        take.show(40, now - row.lastFrameAgo - 0.5);
        take.show(200, now - row.lastFrameAgo);
        const bool hasMovie = take.engine->stop();
        const Seconds untilStop = hostTime() - now;

        EXPECT_TRUE(hasMovie);
        const Seconds duration = trackDuration(take.rawMovie(), "v");
        if (row.isHeld) {
            EXPECT_GE(duration, 0.5 + row.lastFrameAgo - 0.01);
            EXPECT_LE(duration, 0.5 + row.lastFrameAgo + untilStop + 0.01);
        } else {
            EXPECT_GE(duration, 0.5);
            EXPECT_LE(duration, 0.6) << "the last frame is still seen, but not for long";
        }
    }
}

// Frames at known times on both sides of a pause and all through it.
TEST(CaptureEngine, CutsPausesOutOfThePictureWithoutAHole) {
    TakeFixture take({.pixelSize = kSmall});
    ASSERT_TRUE(take.start());
    const Seconds begin = hostTime() - 0.2;
    for (const Seconds time : {0.0, 0.1, 0.2}) take.show(40, begin + time);
    take.engine->pause(begin + 0.25);
    for (const Seconds time : {0.25, 0.3, 0.45}) {
        take.show(255, begin + time);
    }
    take.engine->resume(begin + 0.5);
    for (const Seconds time : {0.5, 0.6}) take.show(120, begin + time);
    take.engine->pause(begin + 0.7); // stopped while paused: the take ends here
    ASSERT_TRUE(isReached(begin + 0.8));
    take.engine->stop();

    const std::vector<Seconds> times = frameTimes(take.rawMovie());
    const std::array expected = {0.0, 0.1, 0.2, 0.25, 0.35};
    ASSERT_EQ(times.size(), expected.size());
    for (std::size_t i = 0; i < times.size(); ++i) EXPECT_NEAR(times[i], expected[i], 0.0005);
    EXPECT_NEAR(trackDuration(take.rawMovie(), "v"), 0.45, 0.001);
    const std::vector<int> lumas = lumasAt(take.rawMovie(), {0, 0.2, 0.25, 0.4});
    for (std::size_t i = 0; i < lumas.size(); ++i) EXPECT_NEAR(lumas[i], lumaOf(i < 2 ? 40 : 120), 4) << i;
    const auto record = take.record();
    ASSERT_TRUE(record);
    EXPECT_NEAR(record->firstFrameHost, begin, 1e-6);
    EXPECT_EQ(record->pauses.gaps.size(), 2U);
}

TEST(CaptureEngine, ShowsAfterAPauseWhatChangedDuringIt) {
    TakeFixture take({.pixelSize = kSmall});
    ASSERT_TRUE(take.start());
    const Seconds begin = hostTime() - 0.2;
    take.show(40, begin);
    take.engine->pause(begin + 0.1);
    take.screen.paint({0, 150}, 220);
    take.show(take.screen.frame(begin + 0.2, {{0, 150}}));
    take.engine->resume(begin + 0.5);
    take.show(take.screen.frame(begin + 0.6, {}));
    take.engine->stop();
    EXPECT_NEAR(lumasAt(take.rawMovie(), {1})[0], lumaOf(220), 4);
}

TEST(CaptureEngine, DoesNotTrustAStreamWhoseStampsAreOfAnotherClock) {
    TakeFixture take({.pixelSize = kSmall});
    ASSERT_TRUE(take.start());
    const Seconds before = hostTime();
    take.show(40, 1000);
    const Seconds after = hostTime();
    take.show(40, 1000.5);
    take.engine->stop();
    EXPECT_EQ(frameTimes(take.rawMovie()), (std::vector<Seconds>{0, 0.5}));
    const auto record = take.record();
    ASSERT_TRUE(record);
    EXPECT_GE(record->firstFrameHost, before);
    EXPECT_LE(record->firstFrameHost, after);
}

// A short take on a disk that fills up: nothing was synchronised yet when its finish fails.
TEST(CaptureEngine, KeepsAMovieWhosePicturesAreNotYetSafe) {
    TakeFixture take({.pixelSize = kSmall});
    ASSERT_TRUE(take.start());
    const Seconds begin = hostTime() - 3;
    for (const Seconds time : {0.0, 1.0, 2.0}) take.show(40, begin + time);
    ASSERT_TRUE(test::waitUntil([&] { return holdsMedia(take.rawMovie()); }));
    const test::FileSizeLimit full(std::filesystem::file_size(take.rawMovie()));
    EXPECT_TRUE(take.engine->stop());
    EXPECT_EQ(take.notices().size() + take.errors().size(), 1U);
    EXPECT_TRUE(holdsMedia(take.rawMovie()));
}

TEST(CaptureEngine, GoesOnInSilenceWithoutAMicrophoneOrAfterItIsGone) {
    for (const bool exists : {false, true}) {
        TakeFixture take({.pixelSize = kSmall, .mic = true});
        take.sound.exists = exists;
        ASSERT_TRUE(take.start());
        const Seconds begin = hostTime() - 0.2;
        take.show(40, begin);
        take.sound.speak(std::vector<float>(4800, 0.5F), begin + 0.1);
        take.sound.unplug();
        take.show(80, begin + 0.8);
        ASSERT_TRUE(isReached(begin + 0.8));
        EXPECT_TRUE(take.engine->stop());
        EXPECT_EQ(take.notices(),
                  (std::vector<std::string>{exists ? "The microphone stopped, so the recording is silent "
                                                     "from here on."
                                                   : "No microphone was found."}));
        EXPECT_TRUE(take.errors().empty());
        EXPECT_NEAR(trackDuration(take.rawMovie(), "a"), trackDuration(take.rawMovie(), "v"), 0.03);
        EXPECT_GE(trackDuration(take.rawMovie(), "v"), 0.8);
    }
}

TEST(CaptureEngine, WritesTheCameraBesideTheScreenAndTellsHowMuchLaterItBegan) {
    struct Row {
        const char* what;
        Seconds begin; // of the camera after the screen
        Seconds offset;
    };
    for (const Row& row : {Row{"later", 0.4, 0.4}, Row{"earlier", -0.1, -0.1}}) {
        TakeFixture take({.pixelSize = kSmall, .camera = true});
        ASSERT_TRUE(take.start());
        const Seconds begin = hostTime() - 0.2;
        take.show(40, begin);
        take.engine->pause(begin + 0.55);
        take.engine->resume(begin + 0.75);
        for (const Seconds time : {0.0, 0.1, 0.2, 0.4, 0.5})
            take.showCamera({161, 120}, 60 + static_cast<int>(time * 100), begin + row.begin + time);
        take.show(80, begin + 0.9);
        ASSERT_TRUE(isReached(begin + 0.9));
        take.engine->stop();
        EXPECT_EQ(probe(take.cameraMovie(), "v", "width"), "160");
        EXPECT_NEAR(lumasAt(take.cameraMovie(), {0})[0], 60, 3);
        const auto record = take.record();
        ASSERT_TRUE(record);
        EXPECT_NEAR(record->cameraStartHost, begin + row.begin, 1e-6);
        EXPECT_NEAR(record->cameraOffset(), row.offset, 1e-6) << row.what;
        if (row.begin < 0) continue;
        const std::vector<Seconds> times = frameTimes(take.cameraMovie());
        ASSERT_EQ(times.size(), 4U) << "one of them falls into the pause";
        EXPECT_NEAR(times[2], 0.2, 0.001) << "which is cut out";
        // Both end together.
        EXPECT_NEAR(trackDuration(take.cameraMovie(), "v") + record->cameraOffset(),
                    trackDuration(take.rawMovie(), "v"), 0.005);
    }
}

TEST(CaptureEngine, KeepsWhatWasRecordedWhenTheStreamEndsByItself) {
    TakeFixture take({.pixelSize = kSmall});
    ASSERT_TRUE(take.start());
    const Seconds begin = hostTime() - 0.5;
    take.show(40, begin);
    take.show(80, begin + 0.4);
    take.stream->end({"The display was unplugged."});
    take.stream->end({"The display was unplugged again."});
    ASSERT_TRUE(waitUntil([&] { return !take.errors().empty(); }));
    const bool hasMovie = take.engine->stop();
    EXPECT_TRUE(hasMovie);
    EXPECT_EQ(take.errors(), std::vector<std::string>{"The display was unplugged."}) << "and only once";
    EXPECT_EQ(frameTimes(take.rawMovie()).size(), 2U);
}

// What the screen shows while the encoder is being chosen: more than can be held, each changing other rows.
TEST(CaptureEngine, RecordsFromTheFirstPictureWhileTheRestIsPrepared) {
    TakeFixture take({.pixelSize = kSmall, .mic = true, .startsAtOnce = true});
    auto stream = std::make_unique<FakeStream>(kSmall);
    const Seconds begin = hostTime() - 0.5;
    take.screen.paint(40);
    stream->atOnce.push_back(take.screen.whole(begin));
    for (int i = 1; i <= 5; ++i) {
        take.screen.paint({(i - 1) * 40, i * 40}, 200);
        stream->atOnce.push_back(take.screen.frame(begin + i * 0.02, {{(i - 1) * 40, i * 40}}));
    }
    take.stream = stream.get();
    ASSERT_TRUE(
        take.engine->prepare(std::move(stream), {.pixelSize = kSmall, .mic = true, .startsAtOnce = true}));
    ASSERT_TRUE(take.engine->start());
    EXPECT_NEAR(take.engine->firstFrameHostTime().value_or(0), begin, 1e-6);
    take.show(take.screen.frame(begin + 0.4, {}));
    take.sound.speak(std::vector<float>(4800, 0.5F), begin + 0.35);
    take.engine->stop();
    EXPECT_EQ(take.engine->progress().droppedFrames, 0);
    const std::vector<Seconds> times = frameTimes(take.rawMovie());
    ASSERT_EQ(times.size(), 4U);
    EXPECT_NEAR(times[2], 0.1, 0.001) << "the newest of those before the encoder";
    const auto reader = MovieReader::open(take.rawMovie());
    ASSERT_TRUE(reader);
    const auto newest = (*reader)->frameAt(0.1);
    ASSERT_TRUE(newest);
    for (const double y : {0.1, 0.3, 0.5, 0.7, 0.9})
        EXPECT_NEAR(lumaAt(*newest->picture, 0.5, y), lumaOf(200), 4)
            << "rows of pictures that were replaced";
    EXPECT_NEAR(trackDuration(take.rawMovie(), "a"), trackDuration(take.rawMovie(), "v"), 0.03);
}

TEST(CaptureEngine, EndsATakeBeforeTheDiskIsFullAndKeepsIt) {
    const TemporaryFolder folder;
    const test::SmallDisk disk(folder / "disk", "220m");
    if (!disk.isMounted()) GTEST_SKIP() << "A small file system can only be mounted by root.";
    // Nearly full first; then, with another program that is faster than the engine looks, to the last byte.
    for (const bool isFull : {false, true}) {
        std::filesystem::remove(folder / "disk" / "filler");
        TakeFixture take({.pixelSize = kSmall, .mic = true}, folder / "disk");
        ASSERT_TRUE(take.start());
        take.show(40, hostTime());
        ASSERT_TRUE(waitUntil([&] { return take.engine->progress().secondsOnDisk > 0; }));
        disk.fill(isFull ? 300 : 40);
        take.show(80, hostTime());
        ASSERT_TRUE(waitUntil([&] { return !take.errors().empty(); }));
        const bool hasMovie = take.engine->stop();
        EXPECT_TRUE(hasMovie);
        ASSERT_EQ(take.errors().size(), 1U);
        EXPECT_NE(take.errors()[0].find("full"), std::string::npos) << take.errors()[0];
        EXPECT_GE(frameTimes(take.rawMovie()).size(), 1U);
        EXPECT_NEAR(lumasAt(take.rawMovie(), {0})[0], lumaOf(40), 4);
    }
    TakeFixture late({.pixelSize = kSmall}, folder / "disk");
    const auto started = late.start();
    ASSERT_FALSE(started);
    EXPECT_NE(started.error().message.find("nearly full"), std::string::npos);
}

} // namespace
} // namespace glintro::test
