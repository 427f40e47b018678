#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace glintro {

// Resamples mono samples at any speed near 1, by a windowed sinc. Speed 1 returns them unchanged.
class SampleStretcher {
  public:
    // Starts a new run of samples, with silence before it. Its first `skip` samples are not read.
    void restart(std::size_t skip);
    void append(std::span<const float> samples);
    // Reads as far as what was appended allows. `speed`: input samples for each output sample.
    void read(double speed, std::vector<float>& output);
    // Reads what is left; silence lies behind it.
    void drain(double speed, std::vector<float>& output);

    // Input samples that were appended and not read. Negative while samples are still to be skipped.
    double left() const;

  private:
    std::vector<float> input_; // with kReach samples before the next one to be read
    double position_ = 0;      // in input_, of the next output sample
};

} // namespace glintro
