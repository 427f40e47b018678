#pragma once

#include <filesystem>

#include "core/base/Failure.h"

namespace glintro {

// The desktop's Trash. Neither is for the main thread.

// Moves a reel's folder to the Trash and says where it stands there. The reel stays when the Trash refuses: a
// file system may have none, and may not let one be made.
[[nodiscard]] Result<std::filesystem::path> moveToTrash(const std::filesystem::path& folder);

// Moves it back to where it was, whose parent is made again when it is gone. Fails, and the reel stays in the
// Trash, when something else stands there now.
[[nodiscard]] Result<void> restoreFromTrash(const std::filesystem::path& inTrash,
                                            const std::filesystem::path& folder);

} // namespace glintro
