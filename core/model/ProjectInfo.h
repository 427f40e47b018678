#pragma once

#include <string>
#include <string_view>

#include "core/base/Failure.h"
#include "core/model/ProjectSettings.h"
#include "core/model/Timestamp.h"

namespace glintro {

// The record of one reel, which is what its project file holds.
struct ProjectInfo {
    std::string name = {};
    Timestamp created = {};
    Seconds duration = 0; // of the screen movie
    double width = 0;     // of the screen movie's picture, pixels
    double height = 0;
    bool hasCamera = false;   // recorded with a camera
    Seconds cameraOffset = 0; // camera time = source time - offset
    bool hasAudio = false;    // the screen movie carries a microphone track
    ProjectSettings settings = {};

    bool operator==(const ProjectInfo&) const = default;
};

// A longer text is not decoded, nor is one with more than a million values or 512 levels: thousands of
// segments need about a megabyte, and a hostile file must not fill the memory of the machine.
inline constexpr std::size_t kLongestProjectText = 64U << 20; // bytes

// Strict for the record: every one of the nine values must be there and of its type, else the failure says
// what is wrong. Lenient for the settings: a value that is missing, malformed or too large for a double gets
// its default, a list with one malformed element becomes empty. Unknown keys are ignored.
[[nodiscard]] Result<ProjectInfo> decodeProjectInfo(std::string_view json);

// Indented, with sorted keys; numbers read back bit for bit. Fails for numbers that are not finite, which
// JSON cannot hold. A name that is not UTF-8 is stored with replacement characters.
[[nodiscard]] Result<std::string> encodeProjectInfo(const ProjectInfo& info);

} // namespace glintro
