#pragma once

#include <filesystem>

#include "core/base/Failure.h"

namespace glintro {

// The desktop's Trash, by its common rules: the user's own for what stands on the same file system, else one
// at the top of the file system. Neither is for the main thread.

// Moves a reel's folder to the Trash and says where it stands there. One rename: the reel is always whole, in
// one place or the other. It stays when there is no Trash and none can be made.
[[nodiscard]] Result<std::filesystem::path> moveToTrash(const std::filesystem::path& folder);

// Moves it back to where it was, whose parent is made again when it is gone. Fails, and the reel stays in the
// Trash, when something else stands there now.
[[nodiscard]] Result<void> restoreFromTrash(const std::filesystem::path& inTrash,
                                            const std::filesystem::path& folder);

} // namespace glintro
