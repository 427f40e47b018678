#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "core/media/encode/LiveEncoderRung.h"

namespace glintro {

// How much of the time between two frames an encoder needs for one: 1 is all of it. nullopt when it cannot be
// opened or holds pictures back.
using LoadMeasure =
    std::function<std::optional<double>(const LiveEncoderRung& rung, const LiveVideoSettings& settings)>;

// Measures by encoding a page of text that scrolls. Takes a tenth of a second or two, whatever the machine
// does meanwhile. Software is measured with a smaller picture, for its work grows with the pixels. That of
// hardware does not: it is given a burst of pictures in their real size.
std::optional<double> measuredLoad(const LiveEncoderRung& rung, const LiveVideoSettings& settings);

// Whether the machine can encode with a software rung at all when it has nothing else to do: by processor
// time, whatever else it does now.
bool isWithinReach(const LiveEncoderRung& rung, const LiveVideoSettings& settings);

// The rungs of a ladder from the first one that is fast enough. A trial that goes wrong costs one rung only.
// The last rung before the reserve needs no trial: it is what is left.
std::vector<LiveEncoderRung> fastEnough(std::vector<LiveEncoderRung> ladder,
                                        const LiveVideoSettings& settings,
                                        const LoadMeasure& loadOf = measuredLoad);

} // namespace glintro
