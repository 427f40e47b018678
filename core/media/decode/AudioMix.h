#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <vector>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"

namespace glintro {

// Source seconds [start, end) of a recording's sound, played at a rate.
struct AudioPiece {
    Seconds start = 0;
    Seconds end = 0;
    double rate = 1;
};

// The sound of a reel: the pieces one after the other as 48 kHz stereo float, pitch kept where the rate is
// not 1. Every piece begins and ends on the sample that the running total of the exact lengths rounds to, so
// sound never drifts from the picture however many pieces there are. Where the recording has no sound, or a
// track ends early, there is silence. Memory is flat: pieces are decoded as they are read.
class AudioMix {
  public:
    static constexpr int kSampleRate = 48000;
    static constexpr int kChannels = 2;

    static Result<std::unique_ptr<AudioMix>> open(const std::filesystem::path& file,
                                                  std::vector<AudioPiece> pieces);
    ~AudioMix();

    // All samples of the mix, per channel.
    std::int64_t length() const;
    // Fills `interleaved` (kChannels floats per sample) with the next samples; the number of samples per
    // channel written, 0 at the end.
    Result<int> read(std::span<float> interleaved);

  private:
    struct Impl;
    explicit AudioMix(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

} // namespace glintro
