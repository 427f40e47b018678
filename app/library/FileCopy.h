#pragma once

#include <cstdint>
#include <functional>
#include <stop_token>

#include "core/base/FileDescriptor.h"

namespace glintro {

struct FileCopyOptions {
    // Bytes copied so far and in all, some thirty times a second at most, first with 0 and last with all.
    std::function<void(std::uint64_t done, std::uint64_t total)> progress = {};
    std::stop_token stop = {}; // looked at every few megabytes
};

// Copies a file's bytes into an empty one and waits until they are on the disk. The copy shares them with the
// original where the file system can do that. 0, or the system's error number: ECANCELED when stopped,
// ENOSPC before anything is copied where the file system can tell. A file that has become shorter meanwhile
// is copied as far as it goes. Blocks.
[[nodiscard]] int copyToDisk(const RegularFile& from, const FileDescriptor& to,
                             const FileCopyOptions& options);

// Whether somebody has the file open for writing, this process included; unknown where the system does not
// tell, as for files of other users and on network shares.
enum class Writers { none, some, unknown };
Writers writersOf(const FileDescriptor& file);

} // namespace glintro
