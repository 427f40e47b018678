#include "sample/SpeechVoice.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace glintro::sample {
namespace {

constexpr int kBlock = 48; // samples between changes of pitch, level and resonances: one millisecond
// First three formants of a e i o u, hertz (after Peterson and Barney 1952).
constexpr std::array<std::array<double, 3>, 5> kVowels{
    {{730, 1190, 2440}, {530, 1740, 2480}, {300, 2190, 2950}, {520, 900, 2410}, {330, 880, 2240}}};
constexpr std::array kBandwidths{90.0, 110.0, 170.0};
constexpr double kVoiceGain = 0.11;

void approach(double& value, double goal, double share) {
    value += (goal - value) * share;
}

// Rises and falls within 25 ms, or half of a shorter sound.
double envelope(const SpeechRhythm::Sound& sound, Seconds time) {
    const Seconds into = time - sound.start;
    const Seconds left = sound.length - into;
    const Seconds edge =
        sound.kind == SpeechRhythm::Kind::breath ? sound.length / 2 : std::min(0.025, sound.length / 2);
    const double p = std::clamp(std::min(into, left) / edge, 0.0, 1.0);
    return p * p * (3 - 2 * p);
}

} // namespace

void SpeechVoice::Resonator::tune(double frequency, double bandwidth) {
    const double t = 1.0 / kSampleRate;
    c = -std::exp(-2 * std::numbers::pi * bandwidth * t);
    b = 2 * std::exp(-std::numbers::pi * bandwidth * t) * std::cos(2 * std::numbers::pi * frequency * t);
    a = 1 - b - c;
}

double SpeechVoice::Resonator::filter(double input) {
    const double output = a * input + b * last + c * beforeLast;
    beforeLast = last;
    last = output;
    return output;
}

void SpeechVoice::prepareBlock() {
    const Seconds time = static_cast<double>(position_) / kSampleRate;
    const auto& sounds = rhythm_->sounds();
    while (current_ < sounds.size() && sounds[current_].start + sounds[current_].length <= time) ++current_;
    double voice = 0;
    double hiss = 0;
    double breath = 0;
    if (current_ < sounds.size() && sounds[current_].start <= time) {
        const SpeechRhythm::Sound& sound = sounds[current_];
        const double level = envelope(sound, time) * sound.loudness;
        switch (sound.kind) {
            case SpeechRhythm::Kind::hiss:
                hiss = level;
                break;
            case SpeechRhythm::Kind::breath:
                breath = level;
                break;
            case SpeechRhythm::Kind::vowel:
                voice = level;
                approach(pitch_, sound.pitch * (1 + 0.012 * std::sin(2 * std::numbers::pi * 5.1 * time)),
                         0.05);
                for (std::size_t i = 0; i < 3; ++i) {
                    approach(formants_[i], kVowels[static_cast<std::size_t>(sound.vowel)][i], 0.045);
                }
                break;
        }
    }
    approach(voiceLevel_, voice, 0.25);
    approach(hissLevel_, hiss, 0.25);
    approach(breathLevel_, breath, 0.1);
    for (std::size_t i = 0; i < 3; ++i) throat_[i].tune(formants_[i], kBandwidths[i]);
    hiss_.tune(4800, 2600);
    breath_.tune(1500, 1300);
}

// A rounded glottal pulse (Rosenberg 1971), differentiated as by the lips.
double SpeechVoice::voiced() {
    phase_ += pitch_ / kSampleRate;
    if (phase_ >= 1) phase_ -= 1;
    constexpr double opens = 0.42;
    constexpr double closes = 0.18;
    double pulse = 0;
    if (phase_ < opens) {
        pulse = 0.5 * (1 - std::cos(std::numbers::pi * phase_ / opens));
    } else if (phase_ < opens + closes) {
        pulse = std::cos(std::numbers::pi / 2 * (phase_ - opens) / closes);
    }
    const double slope = (pulse - lastPulse_) * 40;
    lastPulse_ = pulse;
    return slope;
}

double SpeechVoice::nextSample() {
    const double white = 2 * noise_.unit() - 1;
    double throat = voiced() * voiceLevel_ + white * 0.02 * voiceLevel_;
    for (Resonator& resonance : throat_) throat = resonance.filter(throat);
    const double hiss = hiss_.filter(white) * hissLevel_ * 0.035;
    const double breath = breath_.filter(white) * breathLevel_ * 0.02;
    approach(tone_, white, 0.02);
    return throat * kVoiceGain + hiss + breath + tone_ * 0.0012;
}

void SpeechVoice::next(std::span<float> samples) {
    for (float& sample : samples) {
        if (position_ % kBlock == 0) prepareBlock();
        sample = static_cast<float>(std::clamp(nextSample(), -0.9, 0.9));
        ++position_;
    }
}

} // namespace glintro::sample
