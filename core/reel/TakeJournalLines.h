#pragma once

#include <string_view>

#include "core/base/FileDescriptor.h"
#include "core/reel/TakeJournal.h"

// The lines of a take's journal: a word and its numbers, one space before each.
namespace glintro::journal {

inline constexpr std::string_view kFormat = "glintro-take"; // first of all, with the version
inline constexpr int kVersion = 1;
inline constexpr std::string_view kFirstFrame = "first";  // host time
inline constexpr std::string_view kCamera = "camera";     // host time
inline constexpr std::string_view kEmbedded = "embedded"; // no number
inline constexpr std::string_view kPause = "pause";       // host time
inline constexpr std::string_view kResume = "resume";     // host time
inline constexpr std::string_view kSample = "s";          // host time, x, y
inline constexpr std::string_view kClick = "c";           // host time, x, y

// What the lines of a file from its current position on tell, with `tail` as if it stood at the file's end.
TakeRecord readRecord(const FileDescriptor& file, std::string_view tail = {});

} // namespace glintro::journal
