#pragma once

#include <filesystem>
#include <string>

#include "app/shell/Console.h"
#include "app/shell/Environment.h"
#include "app/shell/ExitStatus.h"

namespace glintro {

// The render that environment variables ask for: gives a reel fresh zooms and a fixed demonstration look,
// saves it and renders it to MP4.
//
//   GLINTRO_RENDER_OUT       the output file; "rendered.mp4" in the reel's folder when absent
//   GLINTRO_RENDER_GRADIENT  index of the gradient; 0
//   GLINTRO_RENDER_ASPECT    "square", "vertical" or "tall"; anything else is 16:9
//   GLINTRO_RENDER_ZOOM      level of the automatic zooms; 1.6
//
// A number that is none counts as absent.
struct DemoRender {
    // Prints exactly one line on standard output. `folder` is the reel's, as it was given.
    static ExitStatus run(const std::string& folder, const Environment& environment, const Console& console);
};

} // namespace glintro
