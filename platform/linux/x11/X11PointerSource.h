#pragma once

#include <memory>

#include "platform/PointerSource.h"

namespace glintro {

// The pointer of the X server that DISPLAY names, in points of `scale` pixels. Presses are seen by the
// server's RECORD extension, so also while another program has grabbed the pointer; their positions and times
// are the server's own. Connected to between start and stop only; may be started again.
std::unique_ptr<PointerSource> createX11PointerSource(double scale);

} // namespace glintro
