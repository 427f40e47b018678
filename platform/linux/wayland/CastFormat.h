#pragma once

#include <vector>

#include <spa/param/video/raw.h>
#include <spa/pod/builder.h>

namespace glintro {

// What a cast stream says in PipeWire's parameter language. The pods lie in the builder's memory.

// The pictures it can read: 32-bit RGB of any size and rate.
const spa_pod* offeredFormats(spa_pod_builder& builder);

// How it wants them handed over once the format is settled: mappable memory, with time, crop, turn,
// damage and pointer beside the pixels.
std::vector<const spa_pod*> wantedBuffers(spa_pod_builder& builder);

} // namespace glintro
