#pragma once

#include "app/library/LibraryFolder.h"
#include "app/shell/CommandLine.h"
#include "app/shell/Console.h"
#include "core/base/Failure.h"
#include "core/reel/Finishing.h"

namespace glintro {

// Makes reels of movie files, with a progress bar on a terminal. A file that fails does not keep the others
// from being imported. Ctrl-C ends the import and leaves nothing of the file it was at.
[[nodiscard]] Result<void> runImport(const ImportArguments& arguments, const LibraryFolder& library,
                                     const ReelDefaults& defaults, const Console& console);

} // namespace glintro
