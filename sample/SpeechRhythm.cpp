#include "sample/SpeechRhythm.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace glintro::sample {
namespace {

constexpr std::array kOpenness{1.0, 0.62, 0.4, 0.72, 0.38}; // a e i o u
constexpr std::array kRoundness{0.3, 0.15, 0.0, 0.8, 1.0};

} // namespace

SpeechRhythm::SpeechRhythm(Seconds duration, std::uint64_t seed) {
    Random random(seed);
    const Seconds end = duration - 0.25;
    Seconds now = random.between(0.25, 0.5);
    while (now < end) {
        const Seconds breath = random.between(0.22, 0.34);
        if (now + breath < end)
            sounds_.push_back({now, breath, Kind::breath, 0, 0, random.between(0.5, 0.9)});
        now += breath + random.between(0.06, 0.12);
        addPhrase(now, end, random);
        now += random.unit() < 0.25 ? random.between(0.9, 1.7) : random.between(0.3, 0.65);
    }
}

void SpeechRhythm::addPhrase(Seconds& now, Seconds end, Random& random) {
    const int syllables = 6 + random.index(12);
    const double base = random.between(112, 124);
    int leftInWord = 1 + random.index(3);
    for (int i = 0; i < syllables; ++i) {
        const double through = static_cast<double>(i) / syllables;
        const bool stressed = leftInWord == 1 || random.unit() < 0.2;
        const Seconds length =
            random.between(0.11, 0.17) * (stressed ? 1.25 : 0.9) * (i + 1 == syllables ? 1.5 : 1);
        if (random.unit() < 0.4) {
            const Seconds hiss = random.between(0.05, 0.09);
            if (now + hiss < end) sounds_.push_back({now, hiss, Kind::hiss, 0, 0, random.between(0.3, 0.8)});
            now += hiss * 0.85;
        }
        if (now + length > end) return;
        const double pitch =
            base * (1.12 - 0.24 * through) * (stressed ? 1.09 : 1) * random.between(0.97, 1.03);
        sounds_.push_back(
            {now, length, Kind::vowel, random.index(5), pitch, stressed ? 1.0 : random.between(0.6, 0.8)});
        now += length * random.between(0.92, 1.05);
        if (--leftInWord > 0) continue;
        leftInWord = 1 + random.index(3);
        now += random.between(0.02, 0.07);
    }
}

const SpeechRhythm::Sound* SpeechRhythm::soundAt(Seconds time) const {
    const auto next = std::ranges::upper_bound(sounds_, time, {}, &Sound::start);
    if (next == sounds_.begin()) return nullptr;
    const Sound& sound = *(next - 1);
    return time < sound.start + sound.length ? &sound : nullptr;
}

double SpeechRhythm::openness(Seconds time) const {
    const Sound* sound = soundAt(time);
    if (!sound) return 0;
    const double swell = std::sin(std::numbers::pi * (time - sound->start) / sound->length);
    switch (sound->kind) {
        case Kind::vowel:
            return swell * sound->loudness * kOpenness[static_cast<std::size_t>(sound->vowel)];
        case Kind::hiss:
            return 0.16 * swell;
        case Kind::breath:
            return 0.2 * swell;
    }
    return 0;
}

double SpeechRhythm::roundness(Seconds time) const {
    const Sound* sound = soundAt(time);
    return sound && sound->kind == Kind::vowel ? kRoundness[static_cast<std::size_t>(sound->vowel)] : 0.25;
}

} // namespace glintro::sample
