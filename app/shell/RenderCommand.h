#pragma once

#include "app/shell/CommandLine.h"
#include "app/shell/Console.h"
#include "core/base/Failure.h"

namespace glintro {

// Renders a reel to a movie, with a progress bar on a terminal. Ctrl-C cancels it; only a finished movie is
// left behind.
[[nodiscard]] Result<void> runRender(const RenderArguments& arguments, const Console& console);

} // namespace glintro
