#pragma once

#include <filesystem>
#include <vector>

#include "app/library/LibraryFolder.h"
#include "core/base/Failure.h"
#include "core/base/FileDescriptor.h"
#include "core/model/Timestamp.h"

namespace glintro {

// The hidden folder in which an import builds its reel, beside where the reel will stand. It is locked while
// the object lives, so that others can tell it from one whose process died, and is removed with the object
// unless it has become a reel: with all it holds, and the folders that were made for it.
class ImportFolder {
  public:
    [[nodiscard]] static Result<ImportFolder> create(const LibraryFolder& library, Timestamp date);
    ImportFolder(ImportFolder&& other) noexcept;
    ImportFolder& operator=(ImportFolder&&) = delete;
    ~ImportFolder();

    const std::filesystem::path& path() const { return path_; }
    // Gives the folder its place among the reels, in one step, and says which.
    [[nodiscard]] Result<std::filesystem::path> publish(const LibraryFolder& library, Timestamp date);

  private:
    explicit ImportFolder(std::vector<std::filesystem::path> made) : made_(std::move(made)) {}

    std::filesystem::path path_;              // empty once there is nothing to remove
    std::vector<std::filesystem::path> made_; // innermost first
    FileDescriptor lock_;
};

} // namespace glintro
