#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace glintro {

using Timestamp = std::chrono::sys_seconds;

// ISO 8601 with whole seconds and a zone: "2025-03-14T09:26:53Z", the zone also as "+01:00" or "+0100".
// `nullopt` for other texts, for dates that are not in the calendar and for times outside the years 0 to 9999
// in UTC.
std::optional<Timestamp> parseTimestamp(std::string_view text);

// The same form in UTC, with "Z"; `nullopt` outside the years 0 to 9999, which four digits cannot hold.
std::optional<std::string> timestampText(Timestamp time);

} // namespace glintro
