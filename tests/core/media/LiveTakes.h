#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/media/decode/MovieFile.h"
#include "core/media/decode/MovieReader.h"
#include "core/media/encode/LiveMovieWriter.h"
#include "tests/core/media/MediaTools.h"
#include "tests/support/Files.h"
#include "tests/support/FlashesAndClicks.h"

// Takes whose pictures and clicks can be told apart when the movie is read back.
namespace glintro::test {

inline constexpr int kBits = 10;
inline constexpr PixelSize kTakeSize{16 * kBits, 64};
inline constexpr AudioTrackSettings kTakeSound{48000, 1, 128000};

// A picture that shows its number: ten columns, white where the bit is set.
inline PictureBuffer numbered(int number) {
    PictureBuffer buffer(PixelLayout::yuv420, kTakeSize);
    for (int i = 0; i < 3; ++i) {
        const MutablePlaneView plane = buffer.plane(i);
        for (int y = 0; y < plane.height; ++y) {
            for (int x = 0; x < plane.width; ++x) {
                const bool isSet = (number >> (x * kBits / plane.width) & 1) != 0;
                plane.row(y)[x] = static_cast<std::uint8_t>(i > 0 ? 128 : isSet ? 220 : 30);
            }
        }
    }
    return buffer;
}

inline int numberOf(const Picture& picture) {
    int number = 0;
    for (int bit = 0; bit < kBits; ++bit) {
        if (lumaAt(picture, (bit + 0.5) / kBits, 0.5) > 125) number |= 1 << bit;
    }
    return number;
}

inline std::int64_t ticks(Seconds time) {
    return std::llround(time * 90000);
}

// When the pictures of a take come: in every rhythm, now and then long after each other.
inline std::vector<Seconds> takeTimes(int count) {
    constexpr Seconds kSteps[] = {1 / 60.0, 1 / 60.0, 1 / 30.0, 0.004, 0.0731, 1 / 60.0, 1 / 60.0};
    std::vector<Seconds> times{0};
    while (std::ssize(times) < count) {
        const auto i = times.size();
        times.push_back(times.back() + (i % 50 == 49 ? 0.9 : kSteps[i % std::size(kSteps)]));
    }
    return times;
}

inline std::unique_ptr<LiveMovieWriter> startTake(const std::filesystem::path& file,
                                                  std::optional<AudioTrackSettings> sound = kTakeSound,
                                                  VideoCodec codec = VideoCodec::h264) {
    auto writer = LiveMovieWriter::create(file, {kTakeSize, 60, 2'000'000, codec, 1}, sound);
    EXPECT_TRUE(writer) << writer.error().message << writer.error().detail;
    return writer ? std::move(*writer) : nullptr;
}

// Sound from sample `position` on, with a click of 5 ms at each of some samples.
inline std::vector<float> clicks(std::int64_t position, std::int64_t count,
                                 const std::vector<std::int64_t>& at) {
    std::vector<float> samples(static_cast<std::size_t>(count));
    for (const std::int64_t click : at) {
        for (std::int64_t k = std::max(click, position); k < std::min(click + 240, position + count); ++k) {
            samples[static_cast<std::size_t>(k - position)] =
                0.7F * std::sin(0.4F + static_cast<float>(k - click) * 0.4F);
        }
    }
    return samples;
}

// Writes pictures and, beside them, the sound up to each one's time.
inline Result<void> writeTake(LiveMovieWriter& writer, const std::vector<Seconds>& times,
                              const std::vector<std::int64_t>& clicksAt = {}, bool withSound = true) {
    std::int64_t heard = 0;
    for (std::size_t i = 0; i < times.size(); ++i) {
        if (auto written = writer.writeFrame(numbered(static_cast<int>(i)).view(), times[i]); !written)
            return written;
        const auto until = std::llround(times[i] * 48000);
        if (!withSound) continue;
        const auto sound = clicks(heard, until - heard, clicksAt);
        heard = until;
        if (auto written = writer.writeAudio(sound); !written) return written;
    }
    return {};
}

// The first `count` pictures of a take are all there, each at its time, and no other.
inline void expectPictures(const std::filesystem::path& file, const std::vector<Seconds>& times,
                           std::size_t count) {
    auto movie = MovieFile::open(file, MovieFile::Probe::header);
    ASSERT_TRUE(movie) << movie.error().message;
    (*movie)->select(MovieFile::Track::video);
    ASSERT_TRUE((*movie)->seek((*movie)->video(), 0));
    const PacketPtr packet = newPacket();
    std::size_t packets = 0;
    for (auto more = (*movie)->read(*packet); more && *more; more = (*movie)->read(*packet)) {
        ASSERT_LT(packets, count);
        EXPECT_EQ(av_rescale_q(packet->pts, (*movie)->video().time_base, {1, 90000}), ticks(times[packets]));
        ++packets;
    }
    EXPECT_EQ(packets, count);

    auto reader = MovieReader::open(file);
    ASSERT_TRUE(reader) << reader.error().message;
    for (std::size_t i = 0; i < count; ++i) {
        const auto frame = (*reader)->frameAt(times[i]);
        ASSERT_TRUE(frame) << frame.error().message;
        ASSERT_EQ(numberOf(*frame->picture), i);
        EXPECT_NEAR(frame->time, times[i], 1e-5);
    }
}

// The clicks are heard within a millisecond of their samples, and nothing is between them.
inline void expectClicks(const std::vector<float>& sound, const std::vector<std::int64_t>& at) {
    std::vector<std::int64_t> found;
    for (std::int64_t i = 0; i < std::ssize(sound); ++i) {
        if (std::abs(sound[static_cast<std::size_t>(i)]) < 0.2F) continue;
        found.push_back(i);
        i += 2400;
    }
    ASSERT_EQ(found.size(), at.size());
    for (std::size_t i = 0; i < at.size(); ++i) EXPECT_LE(std::abs(found[i] - at[i]), 48) << i;
}

struct TopBox {
    std::string type;
    std::size_t begin = 0;
    std::size_t end = 0;
};

// The boxes of a file's outermost level, which a movie being recorded consists of.
inline std::vector<TopBox> topBoxes(const std::string& content) {
    std::vector<TopBox> boxes;
    for (std::size_t position = 0; position + 8 <= content.size();) {
        std::size_t size = 0;
        for (std::size_t i = 0; i < 4; ++i)
            size = size << 8U | static_cast<unsigned char>(content[position + i]);
        if (size < 8) break;
        boxes.push_back({content.substr(position + 4, 4), position, position + size});
        position += size;
    }
    return boxes;
}

} // namespace glintro::test
