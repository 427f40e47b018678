#pragma once

#include <cmath>
#include <filesystem>
#include <vector>

#include <gtest/gtest.h>

#include "core/media/decode/AudioMix.h"
#include "core/media/decode/MovieReader.h"

// What a movie shows and sounds, where that is flashes and clicks.
namespace glintro::test {

// The left channel at 48 kHz, as the movie's own clock has it.
inline std::vector<float> soundOf(const std::filesystem::path& movie, Seconds length) {
    auto mix = AudioMix::open(movie, {{0, length, 1}});
    EXPECT_TRUE(mix) << mix.error().message;
    std::vector<float> left;
    std::vector<float> block(2 * 4800);
    for (auto got = (*mix)->read(block); got && *got > 0; got = (*mix)->read(block)) {
        for (int i = 0; i < *got; ++i) left.push_back(block[static_cast<std::size_t>(2 * i)]);
    }
    return left;
}

// When each sound begins that follows a tenth of a second of silence.
inline std::vector<Seconds> clicksIn(const std::filesystem::path& movie, Seconds length) {
    const auto sound = soundOf(movie, length);
    std::vector<Seconds> clicks;
    Seconds quietSince = -1;
    for (std::size_t i = 0; i < sound.size(); ++i) {
        if (std::abs(sound[i]) < 0.2F) continue;
        const Seconds time = static_cast<double>(i) / AudioMix::kSampleRate;
        if (time - quietSince > 0.1) clicks.push_back(time);
        quietSince = time;
    }
    return clicks;
}

// The times of the frames that begin a white flash.
inline std::vector<Seconds> flashesIn(const std::filesystem::path& movie) {
    auto reader = MovieReader::open(movie);
    if (!reader) return {};
    std::vector<Seconds> flashes;
    bool wasWhite = false;
    for (Seconds time = 0; time < (*reader)->properties().duration; time += 1.0 / 240) {
        const auto frame = (*reader)->frameAt(time);
        if (!frame) break;
        const PlaneView luma = frame->picture->planes[0];
        const bool isWhite = luma.row(luma.height / 2)[luma.width / 2] > 125;
        if (isWhite && !wasWhite) flashes.push_back(frame->time);
        wasWhite = isWhite;
    }
    return flashes;
}

} // namespace glintro::test
