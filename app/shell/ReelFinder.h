#pragma once

#include <filesystem>

#include "app/library/LibraryFolder.h"
#include "core/base/Failure.h"

namespace glintro {

// Finds the reels that are named on a command line.
class ReelFinder {
  public:
    explicit ReelFinder(LibraryFolder library) : library_(std::move(library)) {}

    // The folder that is meant. What exists as a path always wins; otherwise "latest" means the newest reel
    // of the library, and any other text a folder relative to the library, as "list" prints it, or the reel
    // of that name, exactly or with the case ignored; one word is a name first. What means nothing is
    // answered as it stands, so that opening it tells why. Fails for the latest of no reels and for a name
    // that several reels bear. Reads the library only when it must.
    [[nodiscard]] Result<std::filesystem::path> find(const std::filesystem::path& named) const;

  private:
    LibraryFolder library_;
};

} // namespace glintro
