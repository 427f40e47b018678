#pragma once

#include <string>

#include "app/recording/CaptureEngine.h"
#include "core/base/Geometry.h"

namespace glintro {

// One line about a take under way in at most `columns` columns: what matters less gives way first.
//
//   "● 0:12.3  738 frames  0 dropped  0:11.9 on disk, 4.2 MB  libx264 veryfast"
std::string recordingLine(Seconds elapsed, const CaptureProgress& progress, int columns);

} // namespace glintro
