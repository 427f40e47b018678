#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace glintro {

// Reads a line of samples at any speed near 1, by a windowed sinc. At speed 1 the samples come out as they
// went in.
class SampleStretcher {
  public:
    // Begins a new line; silence lies before it. The first `skip` samples of it are not read.
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
