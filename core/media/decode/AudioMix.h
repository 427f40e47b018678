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
// track ends early, there is silence. Pieces without length, or with a rate that is no positive number, are
// left out. Memory is flat: pieces are decoded as they are read. One thread at a time.
class AudioMix {
  public:
    static constexpr int kSampleRate = 48000;
    static constexpr int kChannels = 2;

    // Fails where the movie cannot be opened and where nothing of its sound can be decoded.
    [[nodiscard]] static Result<std::unique_ptr<AudioMix>> open(const std::filesystem::path& file,
                                                                std::vector<AudioPiece> pieces);
    // As long as the pieces, and silent.
    static std::unique_ptr<AudioMix> silent(std::vector<AudioPiece> pieces);
    ~AudioMix();

    // All samples of the mix, per channel.
    std::int64_t length() const;
    // The sample that is read next.
    std::int64_t position() const;

    // Plays other pieces of the same movie, from their beginning.
    void setPieces(std::vector<AudioPiece> pieces);
    // Reads on from the sample at a composition time, held within the mix. The sound is that of reading up to
    // there, except that stretched pieces may be off by the few milliseconds their windows shift.
    void seek(Seconds compositionTime);
    // From here on all is silence: the way on after a read that failed.
    void mute();

    // Fills `interleaved` (kChannels floats per sample) with the next samples; the number of samples per
    // channel written, 0 at the end. After a failure the position is where the failure occurred.
    [[nodiscard]] Result<int> read(std::span<float> interleaved);

  private:
    struct Impl;
    explicit AudioMix(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

} // namespace glintro
