#pragma once

#include "app/shell/CommandLine.h"
#include "app/shell/Console.h"
#include "core/base/Failure.h"
#include "platform/Platform.h"

namespace glintro {

// Prints what can be recorded. A part that cannot be asked (no display, no sound server) is no failure: its
// section says why.
Result<void> runSources(const SourcesArguments& arguments, Platform& platform, const Console& console);

} // namespace glintro
