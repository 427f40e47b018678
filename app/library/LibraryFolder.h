#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/preferences/Preferences.h"
#include "core/base/Failure.h"
#include "core/model/Timestamp.h"
#include "core/reel/Finishing.h"
#include "core/reel/Project.h"

namespace glintro {

// What new reels begin with.
ReelDefaults reelDefaults(const Preferences& preferences);

// Where the reels are kept: a folder for each day, and in it a folder for each reel, named by the local time
// it was begun at. A value; all calls from any thread, and several processes may share a library.
//
//     Videos/Glintro/2026-11-21/14.03.59
//                               14.03.59-2
class LibraryFolder {
  public:
    using Environment = std::function<std::optional<std::string>(const char* name)>;

    // A slash at the end of `root` means nothing.
    explicit LibraryFolder(std::filesystem::path root);

    // The user's: what GLINTRO_LIBRARY_DIR says, else "Glintro" in the user's folder for videos.
    static LibraryFolder ofUser(const Environment& environment);

    const std::filesystem::path& root() const { return root_; }

    // Where rendered files go: as the preferences say, else "Exports" beside the reels.
    std::filesystem::path exportFolder(const Preferences& preferences) const;

    // Makes a folder that nobody else has, with all its parents. The library and all in it that is made here
    // can be read by its owner only: a recording may show anything.
    [[nodiscard]] Result<std::filesystem::path> newProjectFolder(Timestamp date) const;

    // Gives a folder that is complete the name that newProjectFolder() would have made, in one step: it must
    // stand on the library's file system.
    [[nodiscard]] Result<std::filesystem::path> moveToProjectFolder(const std::filesystem::path& folder,
                                                                    Timestamp date) const;

    // Where reels of a date stand, and the same made with all its parents.
    std::filesystem::path dayFolder(Timestamp date) const;
    [[nodiscard]] Result<std::filesystem::path> makeDayFolder(Timestamp date) const;

    // Makes a take a reel that is created now; see finishReel(). Not for the main thread.
    [[nodiscard]] static Result<FinishedReel> registerRecording(const std::filesystem::path& folder,
                                                                const std::string& name,
                                                                const TakeRecord& take,
                                                                const ReelDefaults& defaults);

  private:
    // Answers 0, EEXIST for a name that is used, or another number of the system.
    using Claim = std::function<int(const std::filesystem::path& folder)>;
    [[nodiscard]] Result<std::filesystem::path> claimProjectFolder(Timestamp date, const Claim& claim) const;

    std::filesystem::path root_;
};

// The folders that would have to be made for a path, innermost first: those that are not there.
std::vector<std::filesystem::path> missingFolders(const std::filesystem::path& folder);

} // namespace glintro
