#pragma once

#include "core/model/ProjectInfo.h"
#include "core/model/RecordingEvents.h"

// Any value that can be stored, drawn inside a RapidCheck property. Plain functions, so that their generators
// are compiled once.
namespace glintro::test {

std::size_t anyIndex(std::size_t from, std::size_t to); // below `to`
char anyByte();
ProjectInfo anyInfo();
RecordingEvents anyEvents();

} // namespace glintro::test
