#pragma once

#include "app/library/LibraryFolder.h"
#include "app/shell/CommandLine.h"
#include "app/shell/Console.h"
#include "core/base/Failure.h"

namespace glintro {

// Prints the reels of the library by day, newest first, and names the folders that have to be recovered.
[[nodiscard]] Result<void> runList(const ListArguments& arguments, const LibraryFolder& library,
                                   const Console& console);

} // namespace glintro
