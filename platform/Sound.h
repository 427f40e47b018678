#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"

namespace glintro {

inline constexpr int kSoundRate = 48000; // samples a second, of all sound here

struct SoundDevice {
    std::string id;   // the system's identifier
    std::string name; // for the user
    bool isDefault = false;
    bool operator==(const SoundDevice&) const = default;
};

// Consecutive mono samples in -1..1. Valid during the call they are handed over in.
struct SoundBlock {
    std::span<const float> samples;
    Seconds hostTime = 0; // when the first of them was heard
};

// A microphone that was found. Records between start and stop.
class Microphone {
  public:
    virtual ~Microphone() = default;

    // Handlers are called on one thread of the microphone's. `lost` is called at most once, after the last
    // block.
    [[nodiscard]] virtual Result<void> start(std::function<void(const SoundBlock&)> heard,
                                             std::function<void(Failure)> lost) = 0;
    // No handler runs any more when this returns. Not from a handler.
    virtual void stop() = 0;
};

// Plays interleaved float samples through the default output, as they are asked for.
class SoundOutput {
  public:
    // Fills all of the span; called on a thread of the output's, ahead of time, and must not block.
    using Source = std::function<void(std::span<float> interleaved)>;

    virtual ~SoundOutput() = default;

    [[nodiscard]] virtual Result<void> start(Source source) = 0;
    // Discards what was asked for and not heard yet. No call of the source runs when this returns.
    virtual void stop() = 0;
    // How much later than now a sample asked for now will be heard.
    virtual Seconds latency() const = 0;
};

class SoundSystem {
  public:
    virtual ~SoundSystem() = default;

    // The microphones, without the monitors of outputs. Fails when no sound server answers.
    [[nodiscard]] virtual Result<std::vector<SoundDevice>> microphones() = 0;
    // By id or by name; the default one when absent.
    [[nodiscard]] virtual Result<std::unique_ptr<Microphone>> openMicrophone(
        std::optional<std::string> device) = 0;
    [[nodiscard]] virtual Result<std::unique_ptr<SoundOutput>> openOutput(int channels) = 0;
};

} // namespace glintro
