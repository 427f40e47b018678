#pragma once

#include "app/shell/CommandLine.h"
#include "app/shell/Console.h"
#include "core/base/Failure.h"
#include "core/reel/Finishing.h"

namespace glintro {

// Makes reels of interrupted takes and rebuilds damaged ones, and says of each what was done. One that fails
// does not keep the others from being recovered.
[[nodiscard]] Result<void> runRecover(const RecoverArguments& arguments, const ReelDefaults& defaults,
                                      const Console& console);

} // namespace glintro
