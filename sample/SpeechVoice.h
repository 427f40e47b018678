#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "sample/SpeechRhythm.h"

namespace glintro::sample {

// Turns a speech rhythm into sound: a pulse train through three resonances that glide between vowels, and
// filtered noise for consonants and breaths, at a gentle level over a faint room tone. One channel, 48 kHz.
class SpeechVoice {
  public:
    static constexpr int kSampleRate = 48000;

    SpeechVoice(const SpeechRhythm& rhythm, std::uint64_t seed) : rhythm_(&rhythm), noise_(seed) {}

    // The samples that follow those of the call before.
    void next(std::span<float> samples);

  private:
    // A second-order resonator (Klatt 1980).
    struct Resonator {
        double a = 0, b = 0, c = 0;
        double last = 0, beforeLast = 0;
        void tune(double frequency, double bandwidth);
        double filter(double input);
    };
    void prepareBlock();
    double nextSample();
    double voiced();

    const SpeechRhythm* rhythm_;
    Random noise_;
    std::int64_t position_ = 0;
    std::size_t current_ = 0; // index of the sound that plays or comes next
    double phase_ = 0;        // of the glottal pulse, 0..1
    double pitch_ = 118;
    std::array<double, 3> formants_{600, 1400, 2500};
    std::array<Resonator, 3> throat_;
    Resonator hiss_;
    Resonator breath_;
    double voiceLevel_ = 0;
    double hissLevel_ = 0;
    double breathLevel_ = 0;
    double lastPulse_ = 0;
    double tone_ = 0;
};

} // namespace glintro::sample
