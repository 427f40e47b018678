#pragma once

#include <vector>

#include "core/model/ProjectSettings.h"

// Values that a timeline may meet, drawn inside a RapidCheck property: coarse grids, so that edges coincide
// and nearly coincide, and on request everything that a file can hold but no editor writes. Plain functions,
// so that their generators are compiled once.
namespace glintro::testing {

enum class Temper { tame, wild };

int anyIndex(int count);                       // 0...count - 1
double anyStep(int from, int to, double step); // a multiple of the step, below `to`
Seconds anyTime(Temper temper);
std::vector<Seconds> anyTimes(Temper temper);
double anyFactor(Temper temper);
ProjectSettings anySettings(Temper temper);
Seconds anyRecordingDuration();

} // namespace glintro::testing
