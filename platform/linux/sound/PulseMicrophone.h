#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/Sound.h"
#include "platform/linux/sound/PulseConnection.h"
#include "platform/linux/sound/SampleClock.h"

namespace glintro {

// A source of the sound server, as the server described it.
struct PulseSource {
    SoundDevice device;
    bool isMonitor = false; // hears what an output plays
    pa_channel_map channels{};
};

// Records in the source's own channels, since a server that is asked for fewer changes the level, and hands
// over their average. Each start has a connection of its own.
class PulseMicrophone final : public Microphone {
  public:
    explicit PulseMicrophone(PulseSource source) : source_(std::move(source)) {}
    ~PulseMicrophone() override { stop(); }

    [[nodiscard]] Result<void> start(std::function<void(const SoundBlock&)> heard,
                                     std::function<void(Failure)> lost) override;
    void stop() override;

  private:
    [[nodiscard]] Result<void> connectStream();
    void setCallbacks();
    void read(std::size_t readable);
    void hear(const float* interleaved, std::size_t count);
    void noteLatency();
    void checkState();

    PulseSource source_;
    std::function<void(const SoundBlock&)> heard_;
    std::function<void(Failure)> lost_; // empty before the start has succeeded, and once called
    SampleClock clock_{kSoundRate};
    std::vector<float> mono_;
    std::unique_ptr<PulseConnection> connection_;
    PulseStream stream_; // goes before its connection
};

} // namespace glintro
