#pragma once

#include <filesystem>

#include "core/base/Failure.h"
#include "core/reel/Project.h"

namespace glintro {

// Refuses a destination that cannot be meant for a rendered file: a folder, no name at all, or one of the
// files that make up the reel.
[[nodiscard]] Result<void> checkDestination(const Project& project, const std::filesystem::path& to);

// Makes the folder that the destination lies in, with the folders above it.
[[nodiscard]] Result<void> makeFolderOf(const std::filesystem::path& to);

} // namespace glintro
