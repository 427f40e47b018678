#pragma once

#include "app/shell/CommandLine.h"
#include "app/shell/Console.h"
#include "core/base/Failure.h"

namespace glintro {

// Makes reels of interrupted takes and rebuilds damaged ones, and says of each what was done. One that fails
// does not keep the others from being recovered.
Result<void> runRecover(const RecoverArguments& arguments, const Console& console);

} // namespace glintro
