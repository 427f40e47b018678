#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stop_token>

#include "app/library/LibraryFolder.h"
#include "core/base/Failure.h"
#include "core/model/Timestamp.h"
#include "core/reel/Finishing.h"
#include "core/reel/Project.h"

namespace glintro {

struct ImportProgress {
    std::uint64_t done = 0; // bytes copied
    std::uint64_t total = 0;
};

struct ImportRequest {
    std::filesystem::path file;
    LibraryFolder library;
    ReelDefaults defaults = {};
    Timestamp created = {}; // also names the folder
    // On the importing thread, some thirty times a second at most, first with 0 and last with all.
    std::function<void(const ImportProgress&)> progress = {};
    std::stop_token stop = {};
};

// Makes a reel of a movie file, under the file's name without its ending. The file is cloned where the file
// system can do that, else copied. The reel is built in a hidden folder and appears in the library in one
// step, complete and flushed to the disk.
//
// Fails with one sentence for the user and leaves nothing behind, neither the day's folder nor the library
// where they were made for it: when the file is no movie with a picture, cannot be read or is still being
// written, when the disk is full or the library cannot be written, and when it was stopped
// (Failure::isCancelled()). Of an import whose process was killed only the hidden folder is left; see
// removeAbandonedImport(). Not for the main thread.
[[nodiscard]] Result<Project> importMovie(const ImportRequest& request);

// What the user is told of a file that is not a movie with a picture.
std::string noMovieMessage(const std::filesystem::path& file);

// Whether a folder's name is that of an import's hidden folder.
bool isImportFolder(const std::filesystem::path& folder);
// Whether no living process works on an import's hidden folder.
bool isAbandonedImport(const std::filesystem::path& folder);
// Removes it, with the day's folder when that is empty then. Does nothing while a process works on it.
void removeAbandonedImport(const std::filesystem::path& folder);

} // namespace glintro
