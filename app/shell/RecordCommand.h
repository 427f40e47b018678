#pragma once

#include "app/preferences/Preferences.h"
#include "app/shell/CommandLine.h"
#include "app/shell/Console.h"
#include "core/base/Failure.h"
#include "platform/Platform.h"

namespace glintro {

// Records until the time is up or a signal ends it, shows the progress on a terminal, and prints the reel.
// When the take had to end early the reel is printed all the same, and the failure says why. A take without a
// picture leaves no folder.
// What the arguments leave open is as the user prefers it.
[[nodiscard]] Result<void> runRecord(const RecordArguments& arguments, const Preferences& user,
                                     Platform& platform, const Console& console);

} // namespace glintro
