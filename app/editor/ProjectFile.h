#pragma once

#include <optional>

#include "core/base/Failure.h"
#include "core/reel/Project.h"

namespace glintro {

// The project file of a reel that is open here, while other programs may write it too: each time it is read
// or written, what another one has made of it since the last time comes to light. Blocks on the disk. One
// thread at a time.
class ProjectFile {
  public:
    // A Failure has the system's error number as its nativeCode. ENOENT says that the reel is gone: its
    // folder or its recording, or that another reel stands there now. Nothing is ever created in its place.
    struct News {
        ProjectInfo before;                     // what the file held when it was read or written last
        std::optional<ProjectInfo> theirs = {}; // what another program has written since
        ProjectInfo now;                        // what it holds now, or held before it was damaged
        bool isDamaged = false;                 // it is there, but nobody can decode it
    };

    // `project` is the reel as it was loaded.
    explicit ProjectFile(const Project& project);

    // A file that cannot be read at the moment is no news, one that cannot be decoded is damaged.
    [[nodiscard]] Result<News> look();

    // Writes the reel's name and settings. Those of the two that did not change here since the file was read
    // or written last stay as another program has written them; a project file that nobody can decode is kept
    // as "project-damaged.json". Returns once the file is on the disk.
    [[nodiscard]] Result<News> save(const ProjectInfo& ours);

  private:
    struct Found {
        bool isThere = false;
        std::optional<ProjectInfo> info = {}; // absent where it is not there or cannot be decoded
    };
    Result<Found> find() const;
    Result<void> replaceDamaged(const Found& found, const ProjectInfo& ours) const;
    News settle(const ProjectInfo& found, const ProjectInfo& now);

    const Project project_;
    ProjectInfo known_; // what the file held when it was last read or written
};

} // namespace glintro
