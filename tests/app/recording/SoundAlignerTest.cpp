#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

#include <gtest/gtest.h>

#include "app/recording/SoundAligner.h"

namespace glintro {
namespace {

constexpr Seconds kBegin = 5000; // host time of the first picture

// A device that hears `signal`, a function of the host clock, with a clock that is off and stamps that stray.
struct Device {
    double slowness = 0;     // seconds lost in each second
    Seconds jitter = 0;      // stamps lie up to so much beside the truth
    Seconds block = 0.01;    // length of one
    std::mt19937 random{42}; // the same strays in every run

    // Feeds what is heard in [from, until).
    template <class Signal>
    void hear(SoundAligner& aligner, const PauseClock& pauses, Seconds from, Seconds until,
              const Signal& signal) {
        std::uniform_real_distribution<Seconds> stray(-jitter, jitter);
        const auto size = static_cast<std::size_t>(block * kSoundRate);
        const Seconds period = (1 + slowness) / kSoundRate;
        for (Seconds time = from; time < until; time += static_cast<double>(size) * period) {
            std::vector<float> samples(size);
            for (std::size_t i = 0; i < size; ++i)
                samples[i] = static_cast<float>(signal(time + static_cast<double>(i) * period));
            aligner.add({samples, time + stray(random)}, pauses);
        }
    }
};

struct Recorded {
    std::vector<float> samples;
    SoundAligner aligner{
        [this](std::span<const float> more) { samples.insert(samples.end(), more.begin(), more.end()); }};
    PauseClock pauses;

    Seconds length() const { return static_cast<double>(samples.size()) / kSoundRate; }
};

double sine(Seconds time) {
    return 0.5 * std::sin(2 * std::numbers::pi * 440 * time);
}

// A short burst around every whole second.
double ticks(Seconds time) {
    const Seconds beside = time - std::round(time);
    return std::abs(beside) < 0.001 ? std::cos(beside * 500 * std::numbers::pi) : 0;
}

// Where a burst is loudest around a time of the line.
Seconds tickNear(const std::vector<float>& samples, Seconds around) {
    const auto at = [](Seconds time) { return static_cast<std::ptrdiff_t>(time * kSoundRate); };
    const auto from = samples.begin() + std::max<std::ptrdiff_t>(at(around - 0.2), 0);
    const auto to = samples.begin() + std::min<std::ptrdiff_t>(at(around + 0.2), std::ssize(samples));
    const auto peak = std::max_element(from, to);
    return *peak < 0.5F ? -1 : static_cast<double>(peak - samples.begin()) / kSoundRate;
}

TEST(SoundAligner, KeepsUpWithTheHostClockWhateverTheDevicesClockDoes) {
    for (const double slowness : {0.0, 200e-6, -200e-6, 500e-6}) {
        for (const Seconds jitter : {0.0, 0.004}) {
            Recorded recorded;
            Device device{slowness, jitter};
            recorded.aligner.begin(kBegin, recorded.pauses);
            device.hear(recorded.aligner, recorded.pauses, kBegin, kBegin + 300, ticks);
            for (int second = 1; second < 300; ++second) {
                ASSERT_NEAR(tickNear(recorded.samples, second), second, 0.01)
                    << "a clock slower by " << slowness << ", stamps off by " << jitter;
            }
        }
    }
}

TEST(SoundAligner, LeavesTheSamplesOfATrueClockAsTheyAreHoweverItsStampsStray) {
    Recorded recorded;
    Device device{.jitter = 0};
    recorded.aligner.begin(kBegin, recorded.pauses);
    device.hear(recorded.aligner, recorded.pauses, kBegin, kBegin + 0.1, sine);
    device.jitter = 0.006;
    // One stamp far off, as when the machine was asleep for a moment, moves nothing either.
    const std::vector<float> block(480, 0);
    device.hear(recorded.aligner, recorded.pauses, kBegin + 0.1, kBegin + 3, sine);
    const auto before = recorded.aligner.reached();
    recorded.aligner.add({block, kBegin + 3.08}, recorded.pauses);
    EXPECT_EQ(recorded.aligner.reached(), before);
    device.hear(recorded.aligner, recorded.pauses, kBegin + 3.01, kBegin + 3.5, sine);

    for (std::size_t i = 0; i < 3 * kSoundRate; ++i)
        ASSERT_NEAR(recorded.samples[i], sine(kBegin + static_cast<double>(i) / kSoundRate), 2e-3) << i;
    EXPECT_NEAR(recorded.length(), 3.5, 0.001);
}

TEST(SoundAligner, FollowsADriftingClockWithoutAClick) {
    Recorded recorded;
    Device device{.slowness = 300e-6, .jitter = 0.004};
    recorded.aligner.begin(kBegin, recorded.pauses);
    device.hear(recorded.aligner, recorded.pauses, kBegin, kBegin + 120, sine);
    // Two samples of a pure tone foretell the third: a click is where they do not.
    const double turn = 2 * std::cos(2 * std::numbers::pi * 440 / kSoundRate);
    double worst = 0;
    for (std::size_t i = kSoundRate; i + 2 < recorded.samples.size(); ++i) {
        const double foretold = turn * recorded.samples[i + 1] - recorded.samples[i];
        worst = std::max(worst, std::abs(foretold - recorded.samples[i + 2]));
    }
    EXPECT_LT(worst, 0.002);
}

TEST(SoundAligner, PutsSilenceWhereNothingWasHeardAndTrimsWhatWasHeardTwice) {
    struct Row {
        const char* what;
        Seconds firstUntil, thenFrom;
    };
    for (const Row& row : {Row{"lost for long", 2.5, 4.3}, Row{"a hiccup", 2.5, 2.54},
                           Row{"heard twice", 3.5, 2.5}, Row{"a little twice", 2.54, 2.5}}) {
        Recorded recorded;
        Device device{.jitter = 0.002};
        recorded.aligner.begin(kBegin, recorded.pauses);
        device.hear(recorded.aligner, recorded.pauses, kBegin, kBegin + row.firstUntil, ticks);
        device.hear(recorded.aligner, recorded.pauses, kBegin + row.thenFrom, kBegin + 8, ticks);
        recorded.aligner.fillTo(kBegin + 8, recorded.pauses);
        for (const int second : {1, 2, 5, 6, 7})
            EXPECT_NEAR(tickNear(recorded.samples, second), second, 0.01) << row.what;
        EXPECT_NEAR(recorded.length(), 8, 0.01) << row.what;
        if (row.thenFrom > 4) {
            EXPECT_EQ(tickNear(recorded.samples, 3), -1) << row.what;
        }
    }
}

TEST(SoundAligner, SetsOutWhereMostStampsSay) {
    for (const Seconds off : {-0.008, 0.008}) {
        Recorded recorded;
        Device device{.jitter = 0};
        recorded.aligner.begin(kBegin, recorded.pauses);
        recorded.aligner.add({std::vector<float>(480), kBegin + 0.1 + off}, recorded.pauses);
        device.hear(recorded.aligner, recorded.pauses, kBegin + 0.11, kBegin + 2.5, ticks);
        EXPECT_NEAR(tickNear(recorded.samples, 1), 1, 0.0005);
        EXPECT_NEAR(tickNear(recorded.samples, 2), 2, 0.0005);
    }
    // A device that is lost again at once.
    Recorded recorded;
    Device device;
    recorded.aligner.begin(kBegin, recorded.pauses);
    device.hear(recorded.aligner, recorded.pauses, kBegin + 0.97, kBegin + 1.04, ticks);
    device.hear(recorded.aligner, recorded.pauses, kBegin + 1.9, kBegin + 2.5, ticks);
    EXPECT_NEAR(tickNear(recorded.samples, 1), 1, 0.0005);
    EXPECT_NEAR(tickNear(recorded.samples, 2), 2, 0.0005);
}

TEST(SoundAligner, BeginsWithSilenceAndEndsWithItWhenTheDeviceIsGone) {
    Recorded recorded;
    Device device;
    device.hear(recorded.aligner, recorded.pauses, kBegin - 2, kBegin, ticks);
    EXPECT_TRUE(recorded.samples.empty()) << "before the first picture nothing is recorded";
    recorded.aligner.begin(kBegin, recorded.pauses);
    device.hear(recorded.aligner, recorded.pauses, kBegin + 0.5, kBegin + 2.5, [](Seconds) { return 1.0; });
    recorded.aligner.fillTo(kBegin + 10, recorded.pauses);
    const auto first = std::ranges::find_if(recorded.samples, [](float value) { return value > 0.5F; });
    EXPECT_NEAR(static_cast<double>(first - recorded.samples.begin()), 0.5 * kSoundRate, 2);
    const auto sounding = std::ranges::count_if(recorded.samples, [](float value) { return value > 0.5F; });
    EXPECT_NEAR(static_cast<double>(sounding), 2 * kSoundRate, 4);
    EXPECT_EQ(recorded.samples.size(), 10U * kSoundRate);
    recorded.aligner.fillTo(kBegin + 9, recorded.pauses);
    EXPECT_EQ(recorded.samples.size(), 10U * kSoundRate);
}

// The signal is the host time itself, so that every sample written tells when it was heard.
TEST(SoundAligner, CutsPausesToTheSampleAndNeverDriftsFromThePicture) {
    Recorded recorded;
    Device device{.block = 0.0213}; // straddles every edge
    recorded.aligner.begin(kBegin, recorded.pauses);
    const auto ramp = [](Seconds time) { return (time - kBegin) / 1000; };
    Seconds at = kBegin;
    const auto hearUntil = [&](Seconds until) {
        device.hear(recorded.aligner, recorded.pauses, at, until, ramp);
        at += std::ceil((until - at) / device.block) * std::floor(device.block * kSoundRate) / kSoundRate;
    };
    for (int i = 0; i < 50; ++i) {
        const Seconds base = kBegin + i * 2.0;
        hearUntil(base + 1 - device.block);
        recorded.pauses.pause(base + 1.00037);
        hearUntil(base + 1.7001 - device.block);
        recorded.pauses.resume(base + 1.70013);
    }
    hearUntil(kBegin + 101);

    for (const PauseClock::Gap& gap : recorded.pauses.gaps) {
        const Seconds cut = *recorded.pauses.shifted(*gap.end) - kBegin;
        const auto index = static_cast<std::size_t>(std::llround(cut * kSoundRate));
        for (std::size_t i = index - 100; i < index + 100; ++i) {
            const Seconds heard = recorded.samples[i] * 1000 + kBegin;
            EXPECT_FALSE(heard > gap.start + 0.0001 && heard < *gap.end - 0.0001) << "from inside a pause";
            const Seconds written = static_cast<double>(i) / kSoundRate;
            EXPECT_NEAR(heard - recorded.pauses.paused(heard) - kBegin, written, 0.0002);
        }
    }
}

TEST(SoundAligner, MakesUpForAPauseThatWasToldOfLate) {
    Recorded recorded;
    Device device;
    recorded.aligner.begin(kBegin, recorded.pauses);
    device.hear(recorded.aligner, recorded.pauses, kBegin, kBegin + 1.7, ticks);
    recorded.pauses.pause(kBegin + 1.5);
    device.hear(recorded.aligner, recorded.pauses, kBegin + 1.7, kBegin + 3.7, ticks);
    recorded.pauses.resume(kBegin + 3.5);
    device.hear(recorded.aligner, recorded.pauses, kBegin + 3.7, kBegin + 7.5, ticks);
    for (const int second : {4, 5, 6, 7})
        EXPECT_NEAR(tickNear(recorded.samples, second - 2), second - 2, 0.001);
}

} // namespace
} // namespace glintro
