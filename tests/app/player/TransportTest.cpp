#include <atomic>
#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "app/player/Transport.h"
#include "tests/support/WaitUntil.h"

namespace glintro {
namespace {

constexpr Seconds kDuration = 10;
constexpr Seconds kFrame = 1.0 / 60;

// Reports of a sound clock that jitters, drifts and sometimes jumps: the clock that follows keeps near it,
// and goes back only where the sound jumped.
TEST(PlayClockTest, FollowsJitteringReportsWithoutGoingBack) {
    std::mt19937 random(7);
    for (const double rate : {0.25, 1.0, 8.0}) {
        std::uniform_real_distribution<Seconds> jitter(-0.008 * rate, 0.008 * rate);
        PlayClock clock;
        clock.runFrom(0, 0, rate);
        Seconds last = 0;
        for (int i = 1; i < 2000; ++i) {
            const Seconds host = i * 0.016;
            const Seconds truth = host * rate * 1.0005;
            clock.steer(truth + jitter(random), host);
            ASSERT_GE(clock.at(host), last) << i;
            ASSERT_NEAR(clock.at(host), truth, 0.006 * rate) << i;
            ASSERT_NEAR(clock.hostTimeOf(clock.at(host + 0.5)), host + 0.5, 1e-9);
            last = clock.at(host);
        }
        clock.steer(3, 40);
        EXPECT_EQ(clock.at(40), 3) << "a jump is followed at once";
    }
}

struct Scene {
    const char* name;
    std::optional<PlayRange> range;
    bool isLooping;
    double rate;
    Seconds start;
    Seconds playedFor; // host time from the first picture on
    Seconds wanted;    // position then
    int restarts;
    int ends;
};

// Every restart waits for its first picture, which comes at once here.
TEST(TransportTest, PlaysToTheEndAroundALoopAndWithinARange) {
    const Scene scenes[] = {
        {"plain", {}, false, 1, 2, 3, 5, 0, 0},
        {"slow", {}, false, 0.25, 2, 4, 3, 0, 0},
        {"rate above the fastest", {}, false, 100, 0, 1, 8, 0, 0},
        {"to the end", {}, false, 2, 6, 3, kDuration, 0, 1},
        {"begins again at the end", {}, false, 1, kDuration, 2, 2, 0, 0},
        {"begins again at the last picture", {}, false, 1, kDuration - kFrame, 2, 2, 0, 0},
        {"loop", {}, true, 1, 7, 5, 2, 1, 0},
        {"one shot", PlayRange{2, 4}, false, 1, 3, 5, 4 - kFrame, 0, 1},
        {"one shot, from elsewhere", PlayRange{2, 4}, false, 1, 9, 1, 3, 0, 0},
        {"one shot, looping", PlayRange{2, 4}, true, 1, 2, 5, 3, 2, 0},
        {"a range beyond the end", PlayRange{8, 99}, true, 1, 8, 5, 9, 2, 0},
        {"a range without length", PlayRange{4, 4}, true, 1, 4, 1, 4 - kFrame, 0, 1},
    };
    for (const Scene& scene : scenes) {
        SCOPED_TRACE(scene.name);
        Transport transport;
        transport.open(kDuration, scene.start, nullptr);
        transport.setRange(scene.range);
        transport.setLooping(scene.isLooping);
        transport.setRate(scene.rate, 0);
        transport.play(0);
        int restarts = 0;
        int ends = 0;
        for (int i = 0; i <= std::lround(scene.playedFor * 1000); ++i) {
            transport.showsFirstPicture(i / 1000.0);
            const Transport::Event event = transport.advance(i / 1000.0);
            restarts += event == Transport::Event::restarted ? 1 : 0;
            ends += event == Transport::Event::ended ? 1 : 0;
        }
        EXPECT_NEAR(transport.position(scene.playedFor), scene.wanted, 0.004);
        EXPECT_EQ(restarts, scene.restarts);
        EXPECT_EQ(ends, scene.ends);
        EXPECT_EQ(transport.isPlaying(), scene.ends == 0);
    }
}

TEST(TransportTest, WaitsForTheFirstPictureButNotForEver) {
    Transport transport;
    transport.open(kDuration, 1, nullptr);
    transport.play(0);
    EXPECT_EQ(transport.advance(0.4), Transport::Event::none);
    EXPECT_EQ(transport.position(0.4), 1) << "no picture yet";
    transport.showsFirstPicture(0.4);
    EXPECT_NEAR(transport.position(0.5), 1.1, 1e-9);
    transport.seek(5, 0.5);
    EXPECT_EQ(transport.position(0.6), 5);
    transport.advance(1.1);
    EXPECT_NEAR(transport.position(2.1), 6, 1e-9) << "a disk that stalls must not stop it";
    transport.pause(2.21);
    EXPECT_NEAR(transport.position(9), 6.1, 1e-9) << "the picture that is on screen";
}

// Asks for sound only when it is told to.
class IdleOutput final : public SoundOutput {
  public:
    explicit IdleOutput(std::shared_ptr<Source> asked) : asked_(std::move(asked)) {}
    Result<void> start(Source source) override {
        *asked_ = std::move(source);
        return {};
    }
    void stop() override {}
    Seconds latency() const override { return 0; }

  private:
    std::shared_ptr<Source> asked_;
};

// With an output that dies, none, and a server that never answers: the reel plays on without sound.
TEST(TransportTest, PlaysSilentlyByTheHostsClockWhereNoOutputPlays) {
    const auto hangs = std::make_shared<std::atomic<bool>>(true);
    const auto asked = std::make_shared<SoundOutput::Source>();
    const auto opens = std::make_shared<std::atomic<int>>(0);
    const OpenSoundOutput outputs[] = {
        {},
        []() { return failure("No sound server."); },
        [hangs]() -> Result<std::unique_ptr<SoundOutput>> {
            hangs->wait(true);
            return failure("It never answered.");
        },
        [asked, opens]() -> Result<std::unique_ptr<SoundOutput>> {
            ++*opens;
            return std::make_unique<IdleOutput>(asked);
        },
    };
    for (const OpenSoundOutput& output : outputs) {
        const TimeMap map({}, kDuration);
        Transport transport;
        transport.open(kDuration, 1, std::make_unique<SoundPlayback>(output, "missing.mov", map, 1));
        std::this_thread::sleep_for(std::chrono::milliseconds(50)); // it opens in the background
        transport.play(0);
        for (int i = 0; i < 400; ++i) {
            transport.showsFirstPicture(i / 100.0);
            transport.advance(i / 100.0);
        }
        EXPECT_TRUE(transport.isRunning());
        EXPECT_GT(transport.position(4), 3) << "a second and a half to find out";
        transport.pause(4);
        transport.play(5);
        transport.showsFirstPicture(5);
        const bool isLast = &output == std::end(outputs) - 1;
        EXPECT_TRUE(!isLast || test::waitUntil([&] { return *opens == 2; })) << "the next play tries another";
    }
    *hangs = false;
    hangs->notify_all();
}

} // namespace
} // namespace glintro
