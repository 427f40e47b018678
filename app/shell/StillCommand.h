#pragma once

#include "app/shell/CommandLine.h"
#include "app/shell/Console.h"
#include "core/base/Failure.h"

namespace glintro {

// Renders one frame of a reel to a PNG picture.
[[nodiscard]] Result<void> runStill(const StillArguments& arguments, const Console& console);

} // namespace glintro
