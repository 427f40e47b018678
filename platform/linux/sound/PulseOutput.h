#pragma once

#include <memory>

#include "platform/Sound.h"
#include "platform/linux/sound/PulseConnection.h"

namespace glintro {

// Plays through the server's default output and moves with it when the user chooses another.
class PulseOutput final : public SoundOutput {
  public:
    explicit PulseOutput(int channels) : channels_(channels) {}
    ~PulseOutput() override { stop(); }

    [[nodiscard]] Result<void> start(Source source) override;
    void stop() override;
    Seconds latency() const override;

  private:
    [[nodiscard]] Result<void> connectStream();
    void write(std::size_t bytes);

    int channels_;
    Source source_;
    std::unique_ptr<PulseConnection> connection_;
    PulseStream stream_; // goes before its connection
};

} // namespace glintro
