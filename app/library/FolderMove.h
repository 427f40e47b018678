#pragma once

#include <filesystem>

namespace glintro {

// Renames a folder to a name on the same file system that nobody uses; never over anything where the file
// system can promise that. Answers 0 or the system's error number: EEXIST when the name is used. Any thread.
[[nodiscard]] int renameToFreeName(const std::filesystem::path& from, const std::filesystem::path& to);

} // namespace glintro
