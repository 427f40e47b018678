#pragma once

#include <vector>

#include "core/timeline/Shot.h"

// Which moments of a recording stand for it on a shot's card and in the film strip of the scrubber.
namespace glintro {

// Pictures of moments are kept by the quarter of a second that the moment lies in.
int momentKey(Seconds sourceTime);

// The shot's middle; at least 0.8 s into the shot, and never its last 0.05 s.
Seconds cardMoment(const Shot& shot);

// Evenly over the recording from 0 on, below its end: about twelve, at least a second apart.
std::vector<Seconds> stripMoments(Seconds duration);

} // namespace glintro
