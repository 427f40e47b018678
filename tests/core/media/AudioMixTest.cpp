#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/media/decode/AudioMix.h"
#include "core/media/decode/MovieReader.h"
#include "tests/core/media/MediaTools.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

using Words = std::vector<std::string>;

// Short bursts of a tone at known source times over a low hum.
std::vector<Seconds> clickTimes() {
    std::vector<Seconds> times;
    for (int i = 0; i < 13; ++i) times.push_back(0.1 + 0.731 * i);
    return times;
}

void writeClicks(const std::filesystem::path& file, int rate, int channels) {
    std::vector<float> samples(static_cast<std::size_t>(10 * rate));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = 0.03F * std::sin(static_cast<float>(i) * 200 * 6.2832F / static_cast<float>(rate));
    }
    for (const Seconds time : clickTimes()) {
        const auto first = static_cast<std::size_t>(std::llround(time * rate));
        for (int i = 0; i < rate / 200; ++i) {
            samples[first + static_cast<std::size_t>(i)] +=
                0.5F * std::sin(static_cast<float>(i) * 2000 * 6.2832F / static_cast<float>(rate));
        }
    }
    std::ofstream stream(file, std::ios::binary);
    for (const float sample : samples) {
        for (int channel = 0; channel < channels; ++channel) {
            stream.write(reinterpret_cast<const char*>(&sample), sizeof sample);
        }
    }
}

std::filesystem::path movieWithClicks(const TemporaryFolder& folder, const std::string& name, int rate,
                                      int channels, const Words& encoding) {
    writeClicks(folder / "clicks.f32", rate, channels);
    Words arguments{"-f",   "lavfi",
                    "-i",   "color=s=32x32:r=30:d=10",
                    "-f",   "f32le",
                    "-ar",  std::to_string(rate),
                    "-ac",  std::to_string(channels),
                    "-i",   (folder / "clicks.f32").string(),
                    "-map", "0:v",
                    "-map", "1:a"};
    arguments.insert(arguments.end(), encoding.begin(), encoding.end());
    test::ffmpeg(std::move(arguments), folder / name);
    return folder / name;
}

// The left channel of the whole mix, read in blocks of an odd size.
std::vector<float> readAll(AudioMix& mix) {
    std::vector<float> left;
    std::vector<float> block(2 * 997);
    for (;;) {
        const auto count = mix.read(block);
        EXPECT_TRUE(count);
        if (!count || *count == 0) return left;
        for (int i = 0; i < *count; ++i) left.push_back(block[static_cast<std::size_t>(2 * i)]);
    }
}

std::vector<float> mixOf(const std::filesystem::path& file, const std::vector<AudioPiece>& pieces) {
    auto mix = AudioMix::open(file, pieces);
    EXPECT_TRUE(mix) << mix.error().message;
    if (!mix) return {};
    const auto samples = readAll(**mix);
    EXPECT_EQ(static_cast<std::int64_t>(samples.size()), (*mix)->length());
    return samples;
}

// Where every click inside the pieces is to be heard.
std::vector<Seconds> mappedClicks(const std::vector<AudioPiece>& pieces, Seconds early) {
    std::vector<Seconds> result;
    Seconds start = 0;
    for (const AudioPiece& piece : pieces) {
        for (const Seconds click : clickTimes()) {
            const Seconds heard = click - early;
            if (heard >= piece.start && heard < piece.end - 0.01) {
                result.push_back(start + (heard - piece.start) / piece.rate);
            }
        }
        start += (piece.end - piece.start) / piece.rate;
    }
    return result;
}

// The time of the first sample near `expected` that is louder than the hum can be.
Seconds clickNear(const std::vector<float>& samples, Seconds expected) {
    constexpr Seconds kAround = 0.03;
    const auto from = std::max<std::int64_t>(0, std::llround((expected - kAround) * AudioMix::kSampleRate));
    const auto to = std::min<std::int64_t>(std::ssize(samples),
                                           std::llround((expected + kAround) * AudioMix::kSampleRate));
    for (std::int64_t i = from; i < to; ++i) {
        if (std::abs(samples[static_cast<std::size_t>(i)]) > 0.15F)
            return static_cast<Seconds>(i) / AudioMix::kSampleRate;
    }
    return -1;
}

bool isStretched(const std::vector<AudioPiece>& pieces) {
    return std::ranges::any_of(pieces, [](const AudioPiece& piece) { return piece.rate != 1; });
}

const std::vector<AudioPiece> kWhole{{0, 10, 1}};
const std::vector<AudioPiece> kCuts{{0.05, 1.5, 1}, {3.02, 4, 1}, {5.21, 5.3, 1}, {6.6, 9.9, 1}};
const std::vector<AudioPiece> kSpeeds{{0, 1.5, 1}, {1.5, 4, 2}, {4, 5, 1}, {5, 7, 1.25}, {8, 9.9, 4}};
const std::vector<AudioPiece> kSlow{{0, 3, 0.5}, {3, 5, 0.8}, {5, 6, 0.25}};

TEST(AudioMix, PutsEveryClickAtItsMappedTimeFromAnyFormat) {
    struct Row {
        std::string name;
        int rate;
        int channels;
        Words encoding;
        Seconds early = 0; // what the file itself lays its sound before the picture
    };
    const Row rows[] = {
        {"aac.mov", 48000, 2, {"-c:a", "aac", "-b:a", "160k"}},
        {"aac-mono.mp4", 44100, 1, {"-c:a", "aac", "-b:a", "96k"}},
        {"aac-surround.mp4", 48000, 6, {"-c:a", "aac", "-b:a", "400k"}},
        {"pcm.avi", 8000, 1, {"-c:a", "pcm_s16le"}},
        {"pcm.mov", 96000, 2, {"-c:a", "pcm_s24le"}},
        {"vorbis.mkv", 22050, 1, {"-c:a", "libvorbis"}},
        // The muxer puts the picture after Opus's start-up time.
        {"opus.webm", 48000, 2, {"-c:v", "libvpx", "-c:a", "libopus"}, 0.007},
    };
    const TemporaryFolder folder;
    for (const Row& row : rows) {
        const auto file = movieWithClicks(folder, row.name, row.rate, row.channels, row.encoding);
        for (const auto& pieces : {kWhole, kCuts, kSpeeds, kSlow}) {
            SCOPED_TRACE(row.name + ", " + std::to_string(pieces.size()) + " pieces");
            const auto samples = mixOf(file, pieces);
            for (const Seconds expected : mappedClicks(pieces, row.early)) {
                EXPECT_NEAR(clickNear(samples, expected), expected, isStretched(pieces) ? 0.012 : 0.002);
            }
        }
    }
}

TEST(AudioMix, KeepsThePitchAtEverySpeed) {
    const TemporaryFolder folder;
    test::ffmpeg({"-f", "lavfi", "-i", "color=s=32x32:r=30:d=10", "-f", "lavfi", "-i",
                  "sine=f=440:r=48000:d=10", "-c:a", "pcm_s16le"},
                 folder / "tone.mov");
    for (const double rate : {0.25, 0.5, 0.9, 1.1, 1.5, 2.0, 3.0, 8.0}) {
        const auto samples = mixOf(folder / "tone.mov", {{0, 10, rate}});
        int crossings = 0;
        const std::size_t margin = 4800;
        for (std::size_t i = margin; i + margin < samples.size(); ++i) {
            crossings += samples[i - 1] < 0 && samples[i] >= 0 ? 1 : 0;
        }
        const double seconds = static_cast<double>(samples.size() - 2 * margin) / AudioMix::kSampleRate;
        EXPECT_NEAR(crossings / seconds, 440, 4) << "at rate " << rate;
        // A seam that does not fit would show as a dip or a crack.
        for (std::size_t i = margin; i + margin + 120 < samples.size(); i += 60) {
            const auto loudest = *std::max_element(samples.begin() + static_cast<std::ptrdiff_t>(i),
                                                   samples.begin() + static_cast<std::ptrdiff_t>(i + 120));
            ASSERT_NEAR(loudest, 0.125, 0.02) << "at rate " << rate << ", sample " << i;
        }
    }
}

TEST(AudioMix, IsExactlyAsLongAsItsPiecesHoweverMany) {
    const TemporaryFolder folder;
    const auto file = movieWithClicks(folder, "movie.mov", 48000, 2, {"-c:a", "pcm_s16le"});
    std::vector<AudioPiece> pieces;
    Seconds total = 0;
    for (int i = 0; i < 3000; ++i) {
        const Seconds start = 0.0033 * i;
        pieces.push_back({start, start + 0.0021, i % 3 == 0 ? 1.7 : 1.0});
        total += 0.0021 / pieces.back().rate;
    }
    EXPECT_NEAR(static_cast<double>(mixOf(file, pieces).size()), total * AudioMix::kSampleRate, 0.6);
}

TEST(AudioMix, GoesOnWithoutAJointWhereTheSourceDoes) {
    const TemporaryFolder folder;
    const auto file = movieWithClicks(folder, "movie.mov", 48000, 2, {"-c:a", "pcm_s16le"});
    EXPECT_EQ(mixOf(file, {{0, 2, 1}, {2, 5.5, 1}, {5.5, 10, 1}}), mixOf(file, kWhole));
}

TEST(AudioMix, FadesAtCutsSoThatNoCrackIsHeard) {
    const TemporaryFolder folder;
    test::ffmpeg({"-f", "lavfi", "-i", "color=s=32x32:r=30:d=4", "-f", "lavfi", "-i",
                  "sine=f=100:r=48000:d=4,volume=6", "-c:a", "pcm_s16le"},
                 folder / "hum.mov");
    const auto samples = mixOf(folder / "hum.mov", {{0, 1.0025, 1}, {2.0, 3.0025, 1}, {3.5075, 3.9, 2}});
    for (std::size_t i = 1; i < samples.size(); ++i) {
        ASSERT_LT(std::abs(samples[i] - samples[i - 1]), 0.03F) << "at sample " << i;
    }
}

TEST(AudioMix, IsSilentWhereTheMovieHasNoSound) {
    const TemporaryFolder folder;
    const Words picture{"-f", "lavfi", "-i", "color=s=32x32:r=30:d=4"};
    test::ffmpeg(picture, folder / "mute.mp4");
    Words late = picture;
    // The sound starts 1 s after the picture and is 1 s long.
    late.insert(late.end(), {"-itsoffset", "1", "-f", "lavfi", "-i", "sine=f=500:r=48000:d=1", "-map", "0:v",
                             "-map", "1:a", "-c:a", "aac"});
    test::ffmpeg(late, folder / "late.mp4");

    const auto mute = mixOf(folder / "mute.mp4", {{0, 4, 1}});
    EXPECT_EQ(mute.size(), 4U * AudioMix::kSampleRate);
    EXPECT_TRUE(std::ranges::all_of(mute, [](float sample) { return sample == 0; }));
    EXPECT_FALSE(MovieReader::open(folder / "mute.mp4").value()->properties().hasAudio);
    EXPECT_TRUE(MovieReader::open(folder / "late.mp4").value()->properties().hasAudio);

    const auto samples = mixOf(folder / "late.mp4", {{0, 4, 1}});
    ASSERT_EQ(samples.size(), 4U * AudioMix::kSampleRate);
    const auto isLoud = [](float sample) { return std::abs(sample) > 0.05F; };
    const auto first = std::ranges::find_if(samples, isLoud) - samples.begin();
    const auto last = samples.rend() - std::find_if(samples.rbegin(), samples.rend(), isLoud);
    EXPECT_NEAR(static_cast<double>(first) / AudioMix::kSampleRate, 1, 0.01);
    EXPECT_NEAR(static_cast<double>(last) / AudioMix::kSampleRate, 2, 0.03);
    EXPECT_EQ(mixOf(folder / "late.mp4", {{50, 52, 1}}), std::vector<float>(2 * AudioMix::kSampleRate));
}

// Backwards and forwards, into cuts, stretched pieces and beyond the end, with one opening of the movie.
TEST(AudioMix, ASeekSoundsLikeReadingUpToThere) {
    const TemporaryFolder folder;
    const auto file = movieWithClicks(folder, "movie.mov", 48000, 2, {"-c:a", "aac", "-b:a", "160k"});
    auto mix = AudioMix::open(file, {});
    ASSERT_TRUE(mix);
    for (const auto& pieces : {kCuts, kSpeeds, kSlow}) {
        const auto whole = mixOf(file, pieces);
        (*mix)->setPieces(pieces);
        ASSERT_EQ((*mix)->length(), std::ssize(whole));
        const Seconds duration = static_cast<Seconds>((*mix)->length()) / AudioMix::kSampleRate;
        for (const double part : {0.77, 0.1, 0.53, 0.52, 0.999, 0.0, 0.31}) {
            const Seconds time = part * duration;
            (*mix)->seek(time);
            const auto first = (*mix)->position();
            EXPECT_EQ(first, std::llround(time * AudioMix::kSampleRate));
            std::vector<float> heard(static_cast<std::size_t>(first), 0.0F);
            const auto rest = readAll(**mix);
            heard.insert(heard.end(), rest.begin(), rest.end());
            ASSERT_EQ(heard.size(), whole.size());
            for (const Seconds click : mappedClicks(pieces, 0)) {
                if (click < time + 0.03) continue;
                EXPECT_NEAR(clickNear(heard, click), click, isStretched(pieces) ? 0.012 : 0.002) << part;
            }
        }
    }
    (*mix)->seek(1e9);
    EXPECT_EQ(readAll(**mix).size(), 0U);
    (*mix)->seek(-1);
    EXPECT_EQ((*mix)->position(), 0);

    (*mix)->setPieces(kCuts);
    (*mix)->seek(1);
    const auto whole = mixOf(file, kCuts);
    const auto rest = readAll(**mix);
    float apart = 0;
    for (std::size_t i = 0; i < rest.size(); ++i)
        apart = std::max(apart, std::abs(rest[i] - whole[48000 + i]));
    EXPECT_LT(apart, 1e-3F) << "where nothing is stretched, the samples are the same";
}

} // namespace
} // namespace glintro
