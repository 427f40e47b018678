#pragma once

#include <string>

#include "core/base/Geometry.h"

// A time as every view shows it. A time that is negative, infinite or not a number reads as 0.
namespace glintro {

std::string formatTime(Seconds seconds,
                       bool tenths = false); // "1:15" or "1:15.9"; minutes never become hours
std::string timecode(Seconds seconds);       // "00:05.25", from an hour on "1:02:05"
std::string shortDuration(Seconds seconds);  // "4.2s", from 10 s on "42s", from 60 s on "1:35"

} // namespace glintro
