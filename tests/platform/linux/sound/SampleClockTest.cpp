#include <cmath>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "platform/linux/sound/SampleClock.h"

namespace glintro {
namespace {

constexpr int kRate = 48000;

// A device whose samples come in lumps, through a system that delays some of them.
struct Device {
    std::string name;
    std::size_t lump = 480;
    double drift = 0;    // how much faster than the host's clock its clock is
    Seconds latency = 0; // and says so
    Seconds delay = 0;   // of single lumps, at most
    Seconds stall = 0;   // of all lumps in the middle of the recording
    Seconds backlog = 0; // how late the first lumps come, less and less so
    Seconds catchUp = 0; // how late lumps come in the middle, and then less and less so
    Seconds lostInTheMiddle = 0;
    bool tellsLoss = false;
    Seconds settled = 1; // from then on times are exact, and again half a second after a loss
};

void PrintTo(const Device& device, std::ostream* out) {
    *out << device.name;
}

class SampleClockTest : public testing::TestWithParam<Device> {};

constexpr Seconds kDuration = 20;
constexpr Seconds kStart = 1000;

TEST_P(SampleClockTest, TellsWhenEachLumpWasHeard) {
    const Device device = GetParam();
    SampleClock clock(kRate);
    std::mt19937 random(7);
    std::uniform_real_distribution<double> anyPart(0, 1);
    const double rate = kRate * (1 + device.drift);
    Seconds arrivedBefore = 0;
    Seconds endOfLast = 0;
    bool isLost = false;
    for (double sample = 0; sample / rate < kDuration; sample += static_cast<double>(device.lump)) {
        const bool isLater = sample / rate > kDuration / 2;
        if (isLater && !isLost && device.lostInTheMiddle > 0) {
            isLost = true;
            if (device.tellsLoss) clock.interrupted();
        }
        const Seconds heard = kStart + sample / rate + (isLost ? device.lostInTheMiddle : 0);
        Seconds arrival = heard + static_cast<double>(device.lump) / rate + device.latency;
        if (anyPart(random) < 0.7) arrival += anyPart(random) * device.delay;
        if (std::abs(sample / rate - kDuration / 2) < device.stall / 2) {
            arrival = std::max(arrival, kStart + (kDuration + device.stall) / 2);
        }
        arrival += std::max(0.0, device.backlog - sample / rate * 2);
        if (isLater) arrival += std::max(0.0, device.catchUp - (sample / rate - kDuration / 2) / 2);
        arrival = std::max(arrival, arrivedBefore);
        arrivedBefore = arrival;

        clock.arrived(device.lump, arrival);
        clock.reportLatency(device.latency + anyPart(random) * 0.005, arrival);
        const Seconds told = clock.consume(device.lump);
        ASSERT_GE(told, endOfLast - 0.6 * static_cast<double>(device.lump) / kRate) << "goes back";
        endOfLast = told + static_cast<double>(device.lump) / kRate;
        const Seconds sinceLoss = heard - kStart - kDuration / 2;
        const bool mayBeOff =
            heard < kStart + device.settled || (isLost && sinceLoss < device.lostInTheMiddle + 0.5);
        if (!mayBeOff) {
            ASSERT_NEAR(told, heard, 0.003) << heard - kStart << " s";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Devices, SampleClockTest,
    testing::Values(Device{.name = "Punctual"}, Device{.name = "Delayed", .delay = 0.02},
                    Device{.name = "FarAway", .latency = 0.12, .delay = 0.01},
                    Device{.name = "FastClock", .drift = 2e-4, .delay = 0.01},
                    Device{.name = "SlowClock", .drift = -2e-4, .delay = 0.01},
                    Device{.name = "Coarse", .lump = 1536, .delay = 0.01},
                    Device{.name = "Stalled", .delay = 0.005, .stall = 1.5},
                    Device{.name = "CatchingUp", .delay = 0.005, .catchUp = 0.9},
                    Device{.name = "LateStart", .backlog = 0.8, .settled = 4},
                    Device{.name = "ToldLoss", .delay = 0.005, .lostInTheMiddle = 0.7, .tellsLoss = true},
                    Device{.name = "SilentLoss", .delay = 0.005, .lostInTheMiddle = 0.7}),
    [](const auto& row) { return row.param.name; });

} // namespace
} // namespace glintro
