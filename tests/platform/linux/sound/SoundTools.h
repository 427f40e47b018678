#pragma once

#include <cmath>
#include <functional>
#include <numbers>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/Sound.h"
#include "tests/support/DeviceWatch.h"

// What the tests of sound record into, and what they look for in it.
namespace glintro::test {

struct HeardBlock {
    Seconds hostTime = 0;
    std::size_t count = 0;
};

// Everything a microphone handed over.
class Hearing : public DeviceWatch {
  public:
    std::vector<float> samples;
    std::vector<HeardBlock> blocks;

    std::function<void(const SoundBlock&)> heard() {
        return [this](const SoundBlock& block) {
            note([&] {
                samples.insert(samples.end(), block.samples.begin(), block.samples.end());
                blocks.push_back({block.hostTime, block.samples.size()});
            });
        };
    }

    bool untilHeard(Seconds duration) {
        const std::size_t wanted = samplesOf(duration);
        return until([&] { return samples.size() >= wanted; });
    }
    // Until the last samples of that duration are as loud as that at least.
    bool untilLoud(Seconds duration, double level);

    // When the sample of that index was heard, as its block told.
    Seconds timeOf(std::size_t sample) const {
        for (const HeardBlock& block : blocks) {
            if (sample < block.count) return block.hostTime + static_cast<double>(sample) / kSoundRate;
            sample -= block.count;
        }
        return std::nan("");
    }

    static std::size_t samplesOf(Seconds duration) { return static_cast<std::size_t>(duration * kSoundRate); }
};

inline double rootMeanSquare(std::span<const float> samples) {
    double sum = 0;
    for (const float sample : samples) sum += static_cast<double>(sample) * static_cast<double>(sample);
    return std::sqrt(sum / static_cast<double>(samples.size()));
}

inline bool Hearing::untilLoud(Seconds duration, double level) {
    const std::size_t count = samplesOf(duration);
    return until(
        [&] { return samples.size() >= count && rootMeanSquare(std::span(samples).last(count)) >= level; });
}

// Interleaved, the same in all channels.
inline std::vector<float> sine(double frequency, double amplitude, Seconds duration, int channels = 1) {
    std::vector<float> samples;
    for (std::size_t i = 0; i < Hearing::samplesOf(duration); ++i) {
        const double phase = 2 * std::numbers::pi * frequency * static_cast<double>(i) / kSoundRate;
        samples.insert(samples.end(), static_cast<std::size_t>(channels),
                       static_cast<float>(amplitude * std::sin(phase)));
    }
    return samples;
}

} // namespace glintro::test
