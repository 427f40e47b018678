#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace glintro {

// What has changed in a library, whoever changed it.
struct LibraryChanges {
    // Entries of the root or of a day folder, to be read again. Each once, none inside another.
    std::vector<std::filesystem::path> entries = {};
    bool isEverything = false; // more than could be followed, or the root itself
};

// Watches the folders of a library. Changes that come close together are told together: when nothing has
// happened for a moment, and in any case soon after the first. A file that grows is not a change, only that
// it comes and goes and is closed or replaced. Runs on a thread of its own, which is never waited for: a file
// system that hangs hangs that thread only.
class FolderWatch {
  public:
    using Report = std::function<void(LibraryChanges)>; // on the watch's thread
    using Clock = std::chrono::system_clock;            // the clock of file systems

    static constexpr std::chrono::milliseconds kQuiet{150};
    static constexpr std::chrono::milliseconds kLatest{350};

    // Watches the root, and that it comes and goes. `report` may be called until the object is gone, and be
    // destroyed after it.
    FolderWatch(const std::filesystem::path& root, Report report);
    ~FolderWatch();
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    // Folders of the root and of its days, day folders first: when the system can watch no more, the rest is
    // not watched. Those that have changed since they were read are reported at once. A folder that goes is
    // forgotten. Any thread; never blocks.
    void add(std::vector<std::filesystem::path> folders, Clock::time_point readAt);

    // Whether the root and all that was added are watched, as far as is known. Any thread.
    bool isComplete() const;

  private:
    struct State;
    class Watching;
    std::shared_ptr<State> state_; // shared with the thread
};

} // namespace glintro
