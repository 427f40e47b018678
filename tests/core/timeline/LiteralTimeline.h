#pragma once

#include <vector>

#include "core/model/ProjectSettings.h"
#include "core/model/RecordingEvents.h"
#include "core/timeline/Shot.h"
#include "core/timeline/TimeMap.h"

// The timeline's rules as plain walks over lists, each moment asking every segment: too slow to ship, but
// short enough to be checked by eye. The fast code has to give the same numbers, bit for bit.
namespace glintro::testing {

std::vector<TimeMap::Piece> literalPieces(const ProjectSettings& settings, Seconds duration);
Seconds literalComposition(const std::vector<TimeMap::Piece>& pieces, Seconds sourceTime);
Seconds literalSource(const std::vector<TimeMap::Piece>& pieces, Seconds compositionTime);
std::vector<Shot> literalShots(const ProjectSettings& settings, Seconds duration);

struct LiteralTrack {
    std::vector<double> xs;
    std::vector<double> ys;
};

// For at least one sample; all of them complete, in any order.
LiteralTrack literalTrack(std::vector<EventSample> samples, Seconds duration, double omega);

} // namespace glintro::testing
