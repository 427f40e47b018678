#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include "core/base/Failure.h"
#include "core/base/ReplacementFile.h"

namespace glintro {

// Small files, read and written whole. A Failure's nativeCode is the system's error number.

// The whole of a regular file. Fails for anything that is not one (a pipe would block its reader), and for a
// file of more than `longest` bytes before any of it is read.
[[nodiscard]] Result<std::string> readFile(const std::filesystem::path& file, std::size_t longest);

// Replaces the file's content in one step and keeps its permissions, as ReplacementFile does it.
[[nodiscard]] Result<void> writeFileAtomically(const std::filesystem::path& file, std::string_view bytes,
                                               Readers readers = Readers::all);

// Creates or overwrites the file in place.
[[nodiscard]] Result<void> writeFile(const std::filesystem::path& file, std::string_view bytes);

// Makes new, renamed and removed entries of a folder survive a power cut. Errors are ignored: some file
// systems cannot do this for folders, and every reader sees the entries anyway.
void syncFolder(const std::filesystem::path& folder);

} // namespace glintro
