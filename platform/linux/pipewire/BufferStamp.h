#pragma once

#include <spa/buffer/buffer.h>

#include "core/base/Geometry.h"

namespace glintro {

// The time of the picture in the buffer, on the clock of hostTime(): its header's if that is within a second
// of now, and never later than now; else now.
Seconds stampOf(const spa_buffer& buffer);

} // namespace glintro
