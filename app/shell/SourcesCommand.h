#pragma once

#include "app/shell/CommandLine.h"
#include "app/shell/Console.h"
#include "core/base/Failure.h"
#include "platform/Platform.h"

namespace glintro {

// Prints what can be recorded. Where a list cannot be had (no display, no sound server), its section says
// why; that is no failure.
[[nodiscard]] Result<void> runSources(const SourcesArguments& arguments, Platform& platform,
                                      const Console& console);

} // namespace glintro
