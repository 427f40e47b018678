#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "sample/SpeechVoice.h"

namespace glintro::sample {
namespace {

double level(const std::vector<float>& samples, Seconds from, Seconds to) {
    const auto first = static_cast<std::size_t>(from * SpeechVoice::kSampleRate);
    const auto last = static_cast<std::size_t>(to * SpeechVoice::kSampleRate);
    double sum = 0;
    for (std::size_t i = first; i < last; ++i) sum += static_cast<double>(samples[i]) * samples[i];
    return std::sqrt(sum / static_cast<double>(last - first));
}

TEST(SpeechTest, SoundsWhereTheMouthOpensAndRestsBetweenPhrases) {
    const SpeechRhythm rhythm(30, 8);
    std::vector<float> samples(30 * SpeechVoice::kSampleRate);
    SpeechVoice(rhythm, 8).next(samples);
    for (const float sample : samples) ASSERT_LT(std::abs(sample), 0.7F);
    double loudest = 0;
    double quietest = 1;
    for (const SpeechRhythm::Sound& sound : rhythm.sounds()) {
        if (sound.kind != SpeechRhythm::Kind::vowel) continue;
        EXPECT_GT(rhythm.openness(sound.start + sound.length / 2), 0.1);
        const double here =
            level(samples, sound.start + sound.length * 0.3, sound.start + sound.length * 0.7);
        loudest = std::max(loudest, here);
        quietest = std::min(quietest, here);
    }
    const double pause = level(samples, 0, 0.2);
    EXPECT_LT(pause, quietest / 4);
    EXPECT_GT(loudest, 0.02);
    EXPECT_EQ(rhythm.openness(0.1), 0);
}

TEST(SpeechTest, BlocksOfAnySizeGiveTheSameSound) {
    const SpeechRhythm rhythm(4, 8);
    std::vector<float> whole(4 * SpeechVoice::kSampleRate);
    SpeechVoice(rhythm, 1).next(whole);
    std::vector<float> pieces(whole.size());
    SpeechVoice voice(rhythm, 1);
    std::size_t position = 0;
    for (std::size_t size = 1; position < pieces.size(); size = size * 3 % 1601 + 1) {
        const std::size_t count = std::min(size, pieces.size() - position);
        voice.next(std::span(pieces).subspan(position, count));
        position += count;
    }
    EXPECT_EQ(pieces, whole);
}

} // namespace
} // namespace glintro::sample
