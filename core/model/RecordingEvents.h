#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"

namespace glintro {

// One pointer observation as stored: [t, x, y]. t is a source time; x and y are fractions of the recorded
// rectangle from its top left, outside 0..1 when the pointer was outside. Files by others may hold fewer
// numbers: `count` says how many of the three are there; numbers beyond the third are not kept.
struct EventSample {
    std::array<double, 3> numbers{};
    std::uint8_t count = 3;

    bool complete() const { return count == 3; }
    Seconds sourceTime() const { return numbers[0]; }
    Point position() const { return {numbers[1], numbers[2]}; }
    bool operator==(const EventSample&) const = default;
};

// What the pointer did during a take; both lists ascend in time. A default value is an empty take.
struct RecordingEvents {
    std::int64_t version = 1;
    Seconds duration = 0;
    std::vector<EventSample> cursor = {};
    std::vector<EventSample> clicks = {};
    bool operator==(const RecordingEvents&) const = default;
};

// Strict: one JSON object with all four values of their types, unknown keys are ignored. Whatever else the
// text holds makes the whole of it a failure.
[[nodiscard]] Result<RecordingEvents> decodeEvents(std::string_view json);

// The same from a file, which is read piece by piece: beyond the events themselves the memory used does not
// grow with the file. Fails for what is not a regular file.
[[nodiscard]] Result<RecordingEvents> readEvents(const std::filesystem::path& file);

// Compact, and every number reads back bit for bit. Fails when a number is not finite, which JSON cannot
// hold.
[[nodiscard]] Result<std::string> encodeEvents(const RecordingEvents& events);

// Replaces the file in one step and synchronises it to the disk: a take's journal is removed next. A new file
// is readable by its owner only.
[[nodiscard]] Result<void> writeEvents(const RecordingEvents& events, const std::filesystem::path& file);

} // namespace glintro
