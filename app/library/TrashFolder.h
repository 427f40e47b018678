#pragma once

#include <filesystem>
#include <optional>

namespace glintro {

// A Trash of the desktop's: a folder "files" with what was thrown away, and a folder "info" that tells of
// each of them where it was and when.
struct TrashFolder {
    std::filesystem::path path;
    // What the places in "info" are relative to: the top of a file system; empty where they are absolute.
    std::filesystem::path top = {};

    std::filesystem::path files() const { return path / "files"; }
    std::filesystem::path info() const { return path / "info"; }
};

// The Trash for something, made where it is not there: on the same file system, so that moving is one rename.
// Absent where the user may have none there.
std::optional<TrashFolder> trashFor(const std::filesystem::path& thing);

} // namespace glintro
