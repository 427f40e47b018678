#pragma once

#include <spa/buffer/buffer.h>

#include "core/base/Geometry.h"

namespace glintro {

// When the picture in the buffer was taken, in hostTime(): as its header says if that is on the same clock,
// else now.
Seconds stampOf(const spa_buffer& buffer);

} // namespace glintro
