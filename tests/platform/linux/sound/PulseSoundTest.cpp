#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "platform/HostClock.h"
#include "platform/linux/sound/PulseSound.h"
#include "tests/platform/linux/sound/ClickPlayer.h"
#include "tests/platform/linux/sound/SoundTools.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/SoundSession.h"

namespace glintro {
namespace {

using test::Hearing;
using test::SoundServer;
using test::SoundSession;

class PulseSoundTest : public testing::TestWithParam<SoundServer> {
  protected:
    void SetUp() override {
        if (const auto why = SoundSession::missing(GetParam())) GTEST_SKIP() << *why;
        session = std::make_unique<SoundSession>(GetParam());
    }

    // A stereo microphone "stereomic" that hears what is played into "stereofeed"; pactl's word for it.
    std::string addStereoMicrophone() {
        EXPECT_TRUE(session->pactl("load-module module-null-sink sink_name=stereofeed channels=2 rate=48000 "
                                   "channel_map=front-left,front-right norewinds=1")
                    || session->pactl("load-module module-null-sink sink_name=stereofeed channels=2 "
                                      "rate=48000 channel_map=front-left,front-right"));
        const auto module = session->pactl(
            "load-module module-remap-source source_name=stereomic "
            "master=stereofeed.monitor channels=2 "
            "channel_map=front-left,front-right "
            "master_channel_map=front-left,front-right remix=no "
            "source_properties=device.description=Stereo_Microphone");
        EXPECT_TRUE(module.has_value());
        return module.value_or("");
    }

    std::unique_ptr<Microphone> open(std::optional<std::string> device = std::nullopt) {
        auto microphone = sound->openMicrophone(std::move(device));
        if (!microphone) throw std::runtime_error(microphone.error().message);
        return std::move(*microphone);
    }

    std::unique_ptr<SoundSession> session;
    std::unique_ptr<SoundSystem> sound = createPulseSound();
};

INSTANTIATE_TEST_SUITE_P(Servers, PulseSoundTest,
                         testing::Values(SoundServer::pulseAudio, SoundServer::pipeWire),
                         [](const auto& row) { return std::string(test::nameOf(row.param)); });

TEST_P(PulseSoundTest, ListsMicrophonesWithTheDefaultFirstAndWithoutMonitors) {
    addStereoMicrophone();
    const SoundDevice mono{"testmic", "Test_Microphone", true};
    const SoundDevice stereo{"stereomic", "Stereo_Microphone", false};
    EXPECT_EQ(sound->microphones(), (std::vector{mono, stereo}));

    session->pactl("set-default-source stereomic");
    const auto isListedFirst = [&] {
        const auto devices = sound->microphones();
        return devices && devices->at(0).id == "stereomic" && devices->at(0).isDefault
               && !devices->at(1).isDefault;
    };
    for (int tries = 0; tries < 100 && !isListedFirst(); ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_TRUE(isListedFirst());
}

// What is played at -6 dB is recorded at -6 dB, from whatever number of channels.
TEST_P(PulseSoundTest, KeepsTheLevel) {
    addStereoMicrophone();
    struct Row {
        std::string sink;
        int channels;
        std::string device;
    };
    for (const Row& row : {Row{"micfeed", 1, "testmic"}, Row{"micfeed", 1, "Test_Microphone"},
                           Row{"stereofeed", 2, "stereomic"}, Row{"stereofeed", 2, "stereofeed.monitor"}}) {
        SCOPED_TRACE(row.device);
        const auto playing = session->feed(test::sine(440, 0.5, 30, row.channels), row.channels, row.sink);
        const auto microphone = open(row.device);
        Hearing hearing;
        ASSERT_TRUE(microphone->start(hearing.heard(), hearing.lost()));
        ASSERT_TRUE(hearing.untilLoud(0.5, 0.3));
        microphone->stop();
        const auto end = std::span(hearing.samples).last(Hearing::samplesOf(0.2));
        EXPECT_NEAR(*std::ranges::max_element(end), 0.5, 0.01);
        EXPECT_NEAR(test::rootMeanSquare(end), 0.5 / std::sqrt(2.0), 0.02);
    }
}

Seconds distanceToNearest(Seconds time, const std::vector<Seconds>& times) {
    Seconds nearest = 1;
    for (const Seconds other : times) {
        if (std::abs(time - other) < std::abs(nearest)) nearest = time - other;
    }
    return nearest;
}

// By how much the times of the clicks heard differ from when they were played, ascending.
std::vector<Seconds> clickErrors(const Hearing& hearing, const std::vector<Seconds>& played) {
    std::vector<Seconds> errors;
    for (std::size_t i = 0; i < hearing.samples.size(); ++i) {
        if (hearing.samples[i] < 0.4F) continue;
        errors.push_back(distanceToNearest(hearing.timeOf(i), played));
        i += kSoundRate / 10;
    }
    std::ranges::sort(errors);
    return errors;
}

// The blocks in which servers hand sound on, taken early here and handed over early there, move all clicks by
// the same amount; what is left is the error of the times.
TEST_P(PulseSoundTest, StampsClicksAsTheyArePlayed) {
    Hearing hearing;
    bool isSteady = false;
    Seconds median = 0;
    // A machine that is too busy for its sound server loses blocks between the player and the microphone.
    for (int tries = 0; tries < 5 && !isSteady; ++tries) {
        test::ClickPlayer player("micfeed");
        const auto microphone = open();
        hearing.samples.clear();
        hearing.blocks.clear();
        ASSERT_TRUE(microphone->start(hearing.heard(), hearing.lost()));
        ASSERT_TRUE(hearing.untilHeard(5));
        microphone->stop();
        const std::vector<Seconds> errors = clickErrors(hearing, player.heardTimes());
        if (errors.size() < 10) continue;
        median = errors[errors.size() / 2];
        isSteady =
            errors[errors.size() * 3 / 4] - errors[errors.size() / 4] < 0.004 && std::abs(median) < 0.03;
    }
    EXPECT_TRUE(isSteady) << "off by " << median << " s";
    for (std::size_t i = 1; i < hearing.blocks.size(); ++i) {
        const test::HeardBlock& before = hearing.blocks[i - 1];
        const Seconds step = hearing.blocks[i].hostTime - before.hostTime;
        const Seconds duration = static_cast<double>(before.count) / kSoundRate;
        ASSERT_GT(step, 0) << i;
        // A machine that is too busy for its sound server loses samples: that is a gap, not a jump.
        if (step < duration + 0.04) {
            ASSERT_NEAR(step, duration, 0.011 * duration) << i;
        }
    }
}

TEST_P(PulseSoundTest, SaysOnceThatTheServerEnded) {
    const auto microphone = open();
    Hearing hearing;
    ASSERT_TRUE(microphone->start(hearing.heard(), hearing.lost()));
    ASSERT_TRUE(hearing.untilHeard(0.1));
    session->killServer();
    ASSERT_TRUE(hearing.until([&] { return !hearing.losses.empty(); }));
    microphone->stop();
    ASSERT_EQ(hearing.losses.size(), 1U);
    EXPECT_EQ(hearing.losses[0].message, "The sound server has ended; what follows has no sound.");

    const auto again = microphone->start(hearing.heard(), hearing.lost());
    ASSERT_FALSE(again);
    EXPECT_EQ(again.error().message,
              "No sound server answers, so there is no sound; start PulseAudio or PipeWire and try again.");
    EXPECT_EQ(hearing.losses.size(), 1U);
}

TEST_P(PulseSoundTest, SaysOnceThatTheMicrophoneIsGone) {
    const std::string module = addStereoMicrophone();
    const auto playing = session->feed(test::sine(440, 0.5, 30, 2), 2, "stereofeed");
    const auto microphone = open("stereomic");
    Hearing hearing;
    ASSERT_TRUE(microphone->start(hearing.heard(), hearing.lost()));
    ASSERT_TRUE(hearing.untilLoud(0.2, 0.3));
    ASSERT_TRUE(session->pactl("unload-module " + module));
    ASSERT_TRUE(hearing.until([&] { return !hearing.losses.empty(); }));
    microphone->stop();
    ASSERT_EQ(hearing.losses.size(), 1U);
    EXPECT_EQ(hearing.losses[0].message,
              "The microphone “Stereo_Microphone” was disconnected; what follows has no sound.");
}

// PulseAudio hears nothing while a source is suspended; PipeWire, which wakes the source at once, is made to
// hang, and catches up with all it has missed.
TEST_P(PulseSoundTest, TimesAreRightAgainAfterAnInterruption) {
    const bool isPulseAudio = GetParam() == SoundServer::pulseAudio;
    const auto interrupt = [&](const std::string& state, int signal) {
        isPulseAudio ? void(session->pactl("suspend-source testmic " + state))
                     : session->signalServer(signal);
    };
    const auto microphone = open();
    Hearing hearing;
    std::atomic<Seconds> lateness = 0; // from when the last block ended to when it was handed over
    ASSERT_TRUE(microphone->start(
        [&, heard = hearing.heard()](const SoundBlock& block) {
            lateness = hostTime() - block.hostTime - static_cast<double>(block.samples.size()) / kSoundRate;
            heard(block);
        },
        hearing.lost()));
    ASSERT_TRUE(hearing.untilHeard(1));
    interrupt("1", SIGSTOP);
    const Seconds interrupted = hostTime();
    while (hostTime() < interrupted + 1.5) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const std::size_t before = hearing.samples.size();
    interrupt("0", SIGCONT);
    EXPECT_TRUE(hearing.until(
        [&] { return hearing.samples.size() > before + kSoundRate && std::abs(lateness) < 0.1; }));
    microphone->stop();
    EXPECT_TRUE(hearing.losses.empty());
    Seconds longest = 0;
    for (std::size_t i = 1; i < hearing.blocks.size(); ++i) {
        const Seconds step = hearing.blocks[i].hostTime - hearing.blocks[i - 1].hostTime;
        ASSERT_GT(step, 0) << i;
        longest = std::max(longest, step);
    }
    EXPECT_TRUE(!isPulseAudio || longest > 1.2) << longest;
}

TEST_P(PulseSoundTest, StopsWhileTheServerHangs) {
    const auto microphone = open();
    const auto output = sound->openOutput(1);
    ASSERT_TRUE(output);
    Hearing hearing;
    ASSERT_TRUE(microphone->start(hearing.heard(), hearing.lost()));
    ASSERT_TRUE((*output)->start([](std::span<float> samples) { std::ranges::fill(samples, 0.0F); }));
    ASSERT_TRUE(hearing.untilHeard(0.1));
    session->signalServer(SIGSTOP);
    microphone->stop();
    (*output)->stop();
    const auto again = microphone->start(hearing.heard(), hearing.lost());
    session->signalServer(SIGCONT);
    ASSERT_FALSE(again);
    EXPECT_TRUE(again.error().message.starts_with("No sound server answers"));
    EXPECT_TRUE(hearing.losses.empty());
}

// What an output plays, as the monitor of the default output hears it.
TEST_P(PulseSoundTest, PlaysWhatTheSourceFillsIn) {
    auto output = sound->openOutput(2);
    ASSERT_TRUE(output);
    const auto monitor = open("speakers.monitor");
    Hearing hearing;
    ASSERT_TRUE(monitor->start(hearing.heard(), hearing.lost()));
    const std::vector<float> tone = test::sine(500, 0.5, 1, 2); // whole periods
    std::atomic<std::size_t> played = 0;
    ASSERT_TRUE((*output)->start([&](std::span<float> samples) {
        for (float& sample : samples) sample = tone[played++ % tone.size()];
    }));
    ASSERT_TRUE(hearing.untilLoud(1, 0.35));
    EXPECT_GT((*output)->latency(), 0);
    EXPECT_LT((*output)->latency(), 1);
    (*output)->stop();
    const std::size_t playedAtStop = played;

    ASSERT_TRUE(hearing.until([&] {
        return test::rootMeanSquare(std::span(hearing.samples).last(Hearing::samplesOf(0.3))) < 0.001;
    }));
    monitor->stop();
    EXPECT_EQ(played, playedAtStop);
    const auto loud =
        std::ranges::count_if(hearing.samples, [](float sample) { return std::abs(sample) > 0.001F; });
    EXPECT_LE(static_cast<std::size_t>(loud), playedAtStop / 2);
    EXPECT_NEAR(*std::ranges::max_element(hearing.samples), 0.5, 0.02);
}

TEST_P(PulseSoundTest, AnOutputFallsSilentWithItsServer) {
    auto output = sound->openOutput(1);
    ASSERT_TRUE(output);
    std::atomic<int> calls = 0;
    ASSERT_TRUE((*output)->start([&](std::span<float> samples) {
        std::ranges::fill(samples, 0.0F);
        ++calls;
    }));
    session->killServer();
    (*output)->stop();
    const auto again = (*output)->start([&](std::span<float>) { ++calls; });
    ASSERT_FALSE(again);
    EXPECT_TRUE(again.error().message.starts_with("No sound server answers"));
}

// A server that accepts connections and says nothing, and none at all.
TEST(PulseSoundWithoutServerTest, FailsInASentence) {
    const TemporaryFolder folder;
    const std::string silent = folder / "silent.sock";
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    silent.copy(address.sun_path, sizeof address.sun_path - 1);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener, 4), 0);

    for (const std::string& socket : {silent, std::string(folder / "none.sock")}) {
        SCOPED_TRACE(socket);
        const test::ScopedEnvironment server("PULSE_SERVER", "unix:" + socket);
        const auto sound = createPulseSound();
        const auto devices = sound->microphones();
        ASSERT_FALSE(devices);
        EXPECT_EQ(
            devices.error().message,
            "No sound server answers, so there is no sound; start PulseAudio or PipeWire and try again.");
        EXPECT_FALSE(sound->openMicrophone(std::nullopt));
    }
    ::close(listener);
}

} // namespace
} // namespace glintro
