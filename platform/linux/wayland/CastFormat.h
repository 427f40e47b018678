#pragma once

#include <vector>

#include <spa/param/video/raw.h>
#include <spa/pod/builder.h>

namespace glintro {

// The stream's side of the negotiation with PipeWire. The returned pods lie in the builder's memory.

// The formats that CastStream reads: 32-bit RGB of any size and rate.
const spa_pod* offeredFormats(spa_pod_builder& builder);

// The buffers it asks for once the format is agreed: mappable memory, with time stamp, crop, rotation, damage
// and pointer as metadata.
std::vector<const spa_pod*> wantedBuffers(spa_pod_builder& builder);

} // namespace glintro
