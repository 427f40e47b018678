#pragma once

#include <array>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/media/decode/MovieReader.h"

// Movies of every kind made with the ffmpeg program, and other programs' view of what we wrote.
namespace glintro::test {

inline std::string quoted(const std::string& word) {
    std::string result = "'";
    for (const char letter : word) result += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
    return result + "'";
}

// Runs a program and returns what it printed; a program that fails fails the test.
inline std::string run(const std::vector<std::string>& words) {
    std::string command;
    for (const std::string& word : words) command += quoted(word) + " ";
    std::FILE* pipe = ::popen((command + "2>&1").c_str(), "r");
    if (pipe == nullptr) return {};
    std::string output;
    std::array<char, 4096> block{};
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), pipe)) {
        output.append(block.data(), count);
    }
    EXPECT_EQ(::pclose(pipe), 0) << command << "\n" << output;
    return output;
}

inline void ffmpeg(std::vector<std::string> arguments, const std::filesystem::path& file) {
    arguments.insert(arguments.begin(), {"ffmpeg", "-v", "error", "-y", "-nostdin"});
    arguments.push_back(file.string());
    run(arguments);
}

// Makes a movie from a source of pictures and filters that they go through.
inline void makeMovie(const std::string& source, const std::string& filters,
                      const std::vector<std::string>& encoding, const std::filesystem::path& file) {
    std::vector<std::string> arguments{"-f", "lavfi", "-i", source, "-vf", filters};
    arguments.insert(arguments.end(), encoding.begin(), encoding.end());
    ffmpeg(std::move(arguments), file);
}

// One field of ffprobe's description of a track ("v" or "a").
inline std::string probe(const std::filesystem::path& file, const std::string& track,
                         const std::string& field) {
    std::string value = run({"ffprobe", "-v", "error", "-select_streams", track, "-show_entries",
                             "stream=" + field, "-of", "default=noprint_wrappers=1:nokey=1", file.string()});
    while (!value.empty() && value.back() == '\n') value.pop_back();
    return value;
}

inline int lumaAt(const Picture& picture, double x, double y) {
    const PlaneView& plane = picture.planes[0];
    return plane.row(static_cast<int>(y * plane.height))[static_cast<int>(x * plane.width)];
}

// Frame n of 100 has luma 20 + 2n and is shown from n / 25 s on.
inline const std::string kNumberedGraph =
    "nullsrc=s=64x64:r=25:d=4,format=yuv420p,geq=lum='20+2*N':cb=128:cr=128";
inline int frameNumber(const Picture& picture) {
    return (lumaAt(picture, 0.5, 0.5) - 20 + 1) / 2;
}

} // namespace glintro::test
