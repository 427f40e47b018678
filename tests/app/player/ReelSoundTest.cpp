#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <memory>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include "app/player/ReelSound.h"
#include "platform/HostClock.h"
#include "platform/linux/sound/PulseSound.h"
#include "tests/platform/linux/sound/SoundTools.h"
#include "tests/support/Reels.h"
#include "tests/support/SoundSession.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

using std::chrono::milliseconds;

constexpr Seconds kDuration = 10;
constexpr Seconds kInSync = 0.02;
constexpr float kClick = 0.15F; // louder than the hum between the clicks

// Short bursts of a tone at uneven source times over a low hum, none of them at the edge of a piece below.
std::vector<Seconds> clickTimes() {
    std::vector<Seconds> times;
    for (int i = 0; i < 26; ++i) {
        const Seconds time = 0.1 + 0.361 * i + 0.002 * i * (i % 3);
        const auto isNear = [&](Seconds edge) { return std::abs(time - edge) < 0.03; };
        if (std::ranges::none_of(std::array{0.05, 1.0, 1.5, 3.0, 5.0, 6.0, 7.0, 7.5, 8.2}, isNear))
            times.push_back(time);
    }
    return times;
}

std::vector<float> clicksOverHum() {
    std::vector<float> samples(static_cast<std::size_t>(kDuration * 48000));
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = 0.03F * std::sin(static_cast<float>(i) * 0.026F);
    for (const Seconds time : clickTimes())
        for (std::size_t i = 0; i < 240; ++i)
            samples[static_cast<std::size_t>(time * 48000) + i] +=
                0.5F * std::sin(static_cast<float>(i) * 0.26F);
    return samples;
}

class ReelSoundTest : public testing::Test {
  protected:
    ReelSoundTest() {
        test::writeMovie(movie, {.frames = 300, .sound = clicksOverHum()});
        settings.trimStart = 0.05;
        settings.cuts = {{.start = 1.0, .end = 1.5}};
        settings.speeds = {{.start = 3.0, .end = 5.0, .rate = 2}, {.start = 6.0, .end = 7.0, .rate = 0.5}};
    }

    TimeMap map() const { return {settings, kDuration}; }

    // The composition times of the clicks that are kept whole between two composition times.
    std::vector<Seconds> expectedClicks(Seconds from, Seconds to) const {
        std::vector<Seconds> times;
        const TimeMap laid = map();
        for (const TimeMap::Piece& piece : laid.pieces())
            for (const Seconds click : clickTimes()) {
                const Seconds time = piece.comp0 + (click - piece.src0) / piece.rate;
                if (click >= piece.src0 && click + 0.01 < piece.src1 && time >= from && time < to)
                    times.push_back(time);
            }
        return times;
    }

    TemporaryFolder folder;
    std::filesystem::path movie = folder / "raw.mov";
    ProjectSettings settings;
};

// In the place of a sound output: asks for 10 ms at a time, and notes the composition time of every click as
// the player's clock has it.
class Listener {
  public:
    explicit Listener(ReelSound& sound) : sound_(sound) {}

    // Until the clock has come to a time or the reel has ended; `pause` between two calls.
    void listenUntil(Seconds compositionTime, milliseconds pause = milliseconds(1)) {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (sound_.heardTime() < compositionTime && !sound_.hasEnded()) {
            ASSERT_LT(std::chrono::steady_clock::now(), limit) << "at " << sound_.heardTime();
            listen();
            if (pause.count() > 0) std::this_thread::sleep_for(pause);
        }
    }

    float listen() {
        const Seconds start = sound_.heardTime();
        sound_.fill(block_);
        float loudest = 0;
        for (std::size_t i = 0; i < block_.size(); i += 2) {
            loudest = std::max(loudest, std::abs(block_[i]));
            if (std::abs(block_[i]) < kClick) continue;
            const Seconds time = start + static_cast<double>(i / 2) / 48000 * sound_.rate();
            if (clicks.empty() || std::abs(time - lastLoud_) > 0.05) clicks.push_back(time);
            lastLoud_ = time;
        }
        return loudest;
    }

    std::vector<Seconds> clicks;

  private:
    ReelSound& sound_;
    std::vector<float> block_ = std::vector<float>(960);
    Seconds lastLoud_ = -1;
};

void expectInSync(const std::vector<Seconds>& heard, const std::vector<Seconds>& expected) {
    ASSERT_EQ(heard.size(), expected.size());
    for (std::size_t i = 0; i < heard.size(); ++i)
        EXPECT_NEAR(heard[i], expected[i], kInSync) << "click " << i;
}

TEST_F(ReelSoundTest, AChangeOfRateOrCutGoesOnWithoutLosingAClick) {
    ReelSound sound(movie, map());
    Listener listener(sound);
    sound.play();
    for (const double rate : {1.0, 2.0, 0.5, 4.0, 1.0}) {
        sound.setRate(rate);
        listener.listenUntil(sound.heardTime() + 1.2);
    }
    expectInSync(listener.clicks, expectedClicks(0, sound.heardTime() - 0.006));

    settings.cuts.push_back({.start = 7.5, .end = 8.2});
    sound.setMap(map(), 6.0);
    Listener after(sound);
    after.listenUntil(99);
    expectInSync(after.clicks, expectedClicks(6.0, 99));
}

TEST_F(ReelSoundTest, AnOutputFasterThanTheDecoderHearsSilenceThatIsCountedAndLosesNothing) {
    ReelSound sound(movie, map());
    Listener listener(sound);
    sound.play();
    listener.listenUntil(99, milliseconds(0));
    EXPECT_GT(sound.underruns(), 0);
    expectInSync(listener.clicks, expectedClicks(0, 99));
}

TEST_F(ReelSoundTest, APauseIsSilentAndHoldsTheClock) {
    ReelSound sound(movie, map());
    Listener listener(sound);
    sound.play();
    listener.listenUntil(0.5);
    sound.pause();
    const Seconds held = sound.heardTime();
    for (int i = 0; i < 5; ++i) EXPECT_EQ(listener.listen(), 0);
    EXPECT_EQ(sound.heardTime(), held);
    EXPECT_NEAR(sound.heardTime(0.06), held - 0.01, 1e-6) << "the last 10 ms of the latency are still heard";
    EXPECT_EQ(sound.underruns(), 0);

    sound.seek(2);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(listener.listen(), 0);
    std::this_thread::sleep_for(milliseconds(200));
    sound.play();
    EXPECT_GT(listener.listen(), 0) << "what a paused seek leads to is decoded already";
    EXPECT_NEAR(sound.heardTime(), 2.01, 1e-6);
    EXPECT_EQ(sound.heardTime(0.05), 2) << "not what was heard before the seek";
}

TEST_F(ReelSoundTest, TheClockRunsToTheEndWithoutSoundThatCanBeRead) {
    struct Row {
        std::optional<std::filesystem::path> movie;
        bool fails;
    };
    for (const Row& row : {Row{std::nullopt, false}, Row{folder / "missing.mov", true}}) {
        ReelSound sound(row.movie, map());
        Listener listener(sound);
        sound.play();
        listener.listenUntil(99, milliseconds(0));
        EXPECT_TRUE(sound.hasEnded());
        EXPECT_NEAR(sound.heardTime(), map().compDuration(), 0.001);
        EXPECT_TRUE(listener.clicks.empty());
        EXPECT_EQ(sound.failure().has_value(), row.fails);
    }
}

// Through a real sound server: what the monitor of its output hears when, against the player's clock then.
TEST_F(ReelSoundTest, IsInSyncThroughARealSoundServer) {
    if (const auto why = test::SoundSession::missing(test::SoundServer::pulseAudio)) GTEST_SKIP() << *why;
    const test::SoundSession session(test::SoundServer::pulseAudio);
    const auto system = createPulseSound();
    auto monitor = system->openMicrophone("speakers.monitor");
    auto output = system->openOutput(2);
    ASSERT_TRUE(monitor && output);
    test::Hearing hearing;
    ASSERT_TRUE((*monitor)->start(hearing.heard(), hearing.lost()));

    ReelSound sound(movie, map());
    ASSERT_TRUE((*output)->start([&](std::span<float> samples) { sound.fill(samples); }));
    struct Reading {
        Seconds hostTime;
        Seconds compositionTime;
        double rate;
    };
    std::vector<Reading> clock;
    const auto playFor = [&](Seconds duration) {
        const Seconds end = hostTime() + duration;
        while (hostTime() < end) {
            const Seconds latency = (*output)->latency();
            clock.push_back({hostTime(), sound.heardTime(latency), sound.rate()});
            std::this_thread::sleep_for(milliseconds(2));
        }
    };
    playFor(0.5); // paused
    sound.play();
    playFor(1.5);
    sound.seek(5.6);
    playFor(1.2);
    sound.setRate(2);
    playFor(1);
    (*output)->stop();
    ASSERT_TRUE(hearing.untilHeard(4.5));
    (*monitor)->stop();

    int clicks = 0;
    Seconds lastLoud = 0;
    const std::vector<Seconds> expected = expectedClicks(0, 99);
    for (std::size_t i = 0; i < hearing.samples.size(); ++i) {
        if (std::abs(hearing.samples[i]) < kClick) continue;
        const Seconds heard = hearing.timeOf(i);
        if (std::exchange(lastLoud, heard) > heard - 0.05) continue;
        const auto at = std::ranges::lower_bound(clock, heard, {}, &Reading::hostTime);
        if (at == clock.end()) break;
        const auto off = [&](Seconds click) { return std::abs(click - at->compositionTime) / at->rate; };
        EXPECT_LT(off(std::ranges::min(expected, {}, off)), kInSync) << "click " << clicks;
        ++clicks;
    }
    EXPECT_GE(clicks, 8);
    EXPECT_EQ(sound.underruns(), 0);
}

} // namespace
} // namespace glintro
