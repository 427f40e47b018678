#pragma once

#include <cstdint>
#include <vector>

#include "core/base/Geometry.h"
#include "sample/Random.h"

namespace glintro::sample {

// When a voice speaks: syllables grouped into phrases, with pauses and breaths between them. The sound and
// the presenter's mouth follow the same rhythm.
class SpeechRhythm {
  public:
    enum class Kind { vowel, hiss, breath };
    struct Sound {
        Seconds start;
        Seconds length;
        Kind kind;
        int vowel;       // which of the five
        double pitch;    // hertz at its middle
        double loudness; // 0..1
    };

    SpeechRhythm(Seconds duration, std::uint64_t seed);

    const std::vector<Sound>& sounds() const { return sounds_; }
    // How far the mouth stands open, 0..1.
    double openness(Seconds time) const;
    // How round the lips are, 0 wide .. 1 round.
    double roundness(Seconds time) const;

  private:
    void addPhrase(Seconds& now, Seconds end, Random& random);
    const Sound* soundAt(Seconds time) const;

    std::vector<Sound> sounds_; // ascending, at most slightly overlapping
};

} // namespace glintro::sample
