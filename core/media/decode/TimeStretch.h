#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "core/base/Failure.h"

namespace glintro {

// Plays stereo sound faster or slower with its pitch kept: waveform-similarity overlap-add (Verhelst and
// Roelands, ICASSP 1993). Windows of the input are laid half over one another, each shifted a little to where
// it continues the one before best. A sudden sound (a click, a consonant) is instead laid exactly at its
// place, so that it is neither lost between two windows nor off from the picture.
class TimeStretch {
  public:
    // Fills a span with interleaved stereo samples of the input from a position on; positions ascend.
    using Input = std::function<Result<void>(std::int64_t position, std::span<float>)>;

    // Output sample n plays input sample n * rate, in samples per channel. Input outside [0, inputLength)
    // counts as silence. `firstOutput` is the first output sample to be read.
    TimeStretch(Input input, std::int64_t inputLength, double rate, std::int64_t firstOutput = 0);

    // Fills `interleaved` with the next samples; there is no end.
    [[nodiscard]] Result<void> read(std::span<float> interleaved);

  private:
    [[nodiscard]] Result<void> layWindow();
    [[nodiscard]] Result<void> load(std::int64_t from, std::int64_t to);
    std::int64_t reach() const;
    std::int64_t placeFor(std::int64_t nominal) const;
    std::int64_t bestMatch(std::int64_t nominal) const;
    double similarity(std::int64_t place) const;
    std::int64_t onsetIn(std::int64_t from, std::int64_t to) const;
    double energy(std::int64_t position) const;
    std::size_t loadedIndex(std::int64_t position) const {
        return static_cast<std::size_t>(position - loadedFrom_);
    }

    Input input_;
    std::int64_t inputLength_;
    double rate_;
    std::vector<float> weights_; // of one window
    std::vector<float> loaded_;  // interleaved input from loadedFrom_ on
    std::vector<float> mono_;    // the same, both channels added
    std::int64_t loadedFrom_ = 0;
    std::vector<float> tail_;    // second half of the last window, weighted
    std::vector<float> ready_;   // finished output
    std::size_t used_ = 0;       // floats of ready_ that were read
    std::size_t skipped_;        // floats of the first finished output that come before the first one wanted
    std::int64_t window_;        // index of the next one to be laid
    bool isFirst_ = true;        // no window was laid yet
    std::int64_t lastPlace_ = 0; // input position of the last window's centre
};

} // namespace glintro
