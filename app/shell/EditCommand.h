#pragma once

#include "app/shell/CommandLine.h"
#include "app/shell/Console.h"
#include "app/shell/ReelFinder.h"
#include "core/base/Failure.h"

namespace glintro {

// Does operations on a reel, all or none, and saves it once, unless it is a dry run or nothing changed. Edits
// of other processes are kept: the operations are done on what they have saved. `defaultZoom` is the level of
// automatic zooms that none is given for.
[[nodiscard]] Result<void> runEdit(const EditArguments& arguments, const ReelFinder& reels,
                                   double defaultZoom, const Console& console);

} // namespace glintro
