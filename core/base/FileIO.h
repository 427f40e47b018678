#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include "core/base/Failure.h"

namespace glintro {

// The whole of a regular file. Fails for anything that is not one (a pipe would block its reader), and for a
// file of more than `longest` bytes before any of it is read.
Result<std::string> readFile(const std::filesystem::path& file, std::size_t longest);

// Who may read a file that is new.
enum class Readers {
    all, // as the user's umask says
    owner,
};

// Replaces the file's content in one step: whoever reads sees the old bytes or the new ones, also after a
// power cut. On any failure the old file stands as it was. Keeps the file's permissions; follows a symbolic
// link, so that the link stays one. A process killed on the way may leave a hidden ".tmp" file beside.
Result<void> writeFileAtomically(const std::filesystem::path& file, std::string_view bytes,
                                 Readers readers = Readers::all);

// Creates or overwrites the file in place.
Result<void> writeFile(const std::filesystem::path& file, std::string_view bytes);

// Makes new, renamed and removed entries of a folder survive a power cut. Some file systems cannot do this
// for folders; every reader sees the entries anyway, so a failure is kept quiet.
void syncFolder(const std::filesystem::path& folder);

} // namespace glintro
