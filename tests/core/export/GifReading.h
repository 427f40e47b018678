#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/raster/Picture.h"
#include "tests/core/media/MediaTools.h"
#include "tests/support/Files.h"

namespace glintro::test {

// What a GIF's blocks say, by the GIF89a format.
struct GifFacts {
    PixelSize size;
    int loops = -1; // 0: for ever; -1: shown once
    std::vector<int> delays;
    std::vector<PixelRect> areas; // of every frame
    bool whole = false;           // the trailer ends the file
};

class GifBlocks {
  public:
    explicit GifBlocks(const std::filesystem::path& file) {
        const std::string bytes = contentOf(file);
        bytes_.assign(bytes.begin(), bytes.end());
    }

    GifFacts read() {
        GifFacts facts;
        if (bytes_.size() < 13 || std::string(bytes_.begin(), bytes_.begin() + 6) != "GIF89a") return facts;
        facts.size = {word(6), word(8)};
        at_ = 13 + tableSize(bytes_[10]);
        while (at_ < bytes_.size() && bytes_[at_] != 0x3B) block(facts);
        facts.whole = at_ + 1 == bytes_.size();
        return facts;
    }

  private:
    int word(std::size_t at) const { return bytes_.at(at) | bytes_.at(at + 1) << 8; }
    static std::size_t tableSize(int packed) { return packed & 0x80 ? 3U << ((packed & 7) + 1) : 0U; }

    void block(GifFacts& facts) {
        if (bytes_[at_] == 0x21) {
            if (bytes_.at(at_ + 1) == 0xF9) facts.delays.push_back(word(at_ + 4));
            if (bytes_.at(at_ + 1) == 0xFF) facts.loops = word(at_ + 16);
            at_ += 2;
        } else {
            facts.areas.push_back({word(at_ + 1), word(at_ + 3), word(at_ + 5), word(at_ + 7)});
            at_ += 11 + tableSize(bytes_.at(at_ + 9));
        }
        while (bytes_.at(at_) != 0) at_ += bytes_.at(at_) + 1U;
        ++at_;
    }

    std::vector<std::uint8_t> bytes_;
    std::size_t at_ = 0;
};

// Every frame of a GIF as FFmpeg shows it: R, G and B of each pixel, row by row.
inline std::vector<std::string> decodeGif(const std::filesystem::path& file, PixelSize size) {
    const std::string bytes = run({"ffmpeg", "-v", "error", "-nostdin", "-i", file.string(), "-fps_mode",
                                   "passthrough", "-pix_fmt", "rgb24", "-f", "rawvideo", "-"});
    const auto frame = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height) * 3;
    std::vector<std::string> frames;
    for (std::size_t at = 0; at + frame <= bytes.size(); at += frame)
        frames.push_back(bytes.substr(at, frame));
    return frames;
}

// The same for a picture that was drawn.
inline std::string bytesOf(const Picture& picture) {
    std::string bytes;
    for (int y = 0; y < picture.size.height; ++y)
        for (int x = 0; x < picture.size.width; ++x)
            for (const PlaneView& plane : picture.planes) bytes += static_cast<char>(plane.row(y)[x]);
    return bytes;
}

// How far the channels of two pictures are apart, in 8-bit steps.
struct PictureDistance {
    double mean = 0;
    int most = 0;
};

inline PictureDistance distance(const std::string& one, const std::string& other) {
    PictureDistance result;
    EXPECT_EQ(one.size(), other.size());
    for (std::size_t i = 0; i < std::min(one.size(), other.size()); ++i) {
        const int apart = std::abs(static_cast<std::uint8_t>(one[i]) - static_cast<std::uint8_t>(other[i]));
        result.mean += apart;
        result.most = std::max(result.most, apart);
    }
    result.mean /= static_cast<double>(one.size());
    return result;
}

inline GifFacts readGif(const std::filesystem::path& file) {
    return GifBlocks(file).read();
}

} // namespace glintro::test
