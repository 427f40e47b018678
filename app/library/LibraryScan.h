#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stop_token>
#include <vector>

#include "core/reel/Project.h"

namespace glintro {

struct ListedReel {
    Project project;
    bool isImported = false; // from a video that Glintro did not record: there is no pointer data
};

// What stands in a folder of the library.
struct FolderContent {
    std::vector<ListedReel> reels = {};
    // A screen movie whose project file is missing or cannot be read.
    std::vector<std::filesystem::path> damaged = {};
    // A take whose process died, with a screen movie or only a journal; the folder can be a reel already.
    std::vector<std::filesystem::path> interrupted = {};
    // What an import whose process died has left: no reel, and of no use.
    std::vector<std::filesystem::path> abandonedImports = {};
    // Folders that are no reels or not yet: days, copies that have just begun, takes that run. To be watched.
    std::vector<std::filesystem::path> others = {};
};

// A library as one scan found it.
struct LibraryListing {
    enum class Access {
        readable,
        missing,    // there is no such folder: an empty library
        unreadable, // it is a file, or the system refuses to list it
    };

    Access access = Access::readable;
    int nativeCode = 0; // why it is unreadable, a number of the system
    FolderContent content =
        {};                 // reels newest first; those of one second by their folders, the later name first
    bool isComplete = true; // not so for the first reels of a scan, and for one that was stopped
};

struct ScanOptions {
    std::stop_token stop = {}; // looked at between two folders
    int threads = 6;           // more than cores: with a cold disk they mostly wait
    // Called once, with the reels of the latest folders by name, when the library holds more than those.
    std::function<void(LibraryListing)> first = {};
    // Called after each folder, on any of the threads: a disk that hangs makes no progress.
    std::function<void()> progressed = {};
};

// The reels that stand directly in the root or one level below. Nothing that stands there is an error: links
// that lead in circles, files, folders that cannot be read. Through a link to a place in the library itself
// nothing is listed a second time. A take that a living process is recording is neither damaged nor
// interrupted. Reads every project file: not for the main thread.
[[nodiscard]] LibraryListing scanLibrary(const std::filesystem::path& root, const ScanOptions& options = {});

// The same for one entry of the library that has changed. One that stands in the root may be a day folder, of
// which all is read; one below it is a reel or nothing. An entry that is gone holds nothing.
[[nodiscard]] FolderContent scanEntry(const std::filesystem::path& root, const std::filesystem::path& entry);

// The order of a library: newest first, in the same second the later folder first. A total order of folders.
[[nodiscard]] bool isListedBefore(const Project& a, const Project& b);

} // namespace glintro
