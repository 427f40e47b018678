#pragma once

#include "app/shell/CommandLine.h"
#include "app/shell/Console.h"
#include "core/base/Failure.h"

namespace glintro {

// Makes a synthetic reel, with a progress bar on a terminal. Ctrl-C cancels it and leaves nothing behind.
[[nodiscard]] Result<void> runSample(const SampleArguments& arguments, const Console& console);

} // namespace glintro
