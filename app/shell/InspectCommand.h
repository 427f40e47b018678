#pragma once

#include "app/shell/CommandLine.h"
#include "app/shell/Console.h"
#include "core/base/Failure.h"

namespace glintro {

// Prints what a reel holds. A folder that is none, or whose project file is damaged, has its status printed
// before the failure says why.
[[nodiscard]] Result<void> runInspect(const InspectArguments& arguments, const Console& console);

} // namespace glintro
