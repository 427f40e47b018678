#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "core/base/Failure.h"
#include "core/reel/Finishing.h"
#include "core/reel/Project.h"

namespace glintro {

struct RecoveredReel {
    enum class Outcome {
        fine,            // there was nothing to recover
        recovered,       // an interrupted take is now a reel, or a damaged project file is rebuilt
        nothingRecorded, // the take was interrupted before its first picture: its files are removed
    };

    Outcome outcome = Outcome::fine;
    std::optional<Project> project = {};    // unless nothing was recorded
    std::optional<std::string> notice = {}; // one sentence on what is not as it should be
};

// Whether recoverReel() has something to do in a folder: an interrupted take, or a reel whose project file
// cannot be read. Not so for a take that a living process is recording.
[[nodiscard]] bool needsRecovery(const std::filesystem::path& folder);

// Makes a reel of what an interrupted take has left, as its stop would have done (see finishReel), under its
// folder's name. A damaged project file is rebuilt and kept as "project-damaged.json"; its edits are not
// salvaged. What is no file of a reel is never touched, and only files that hold no media are removed.
//
// Interrupted itself at whatever moment, it can be called again, also for a take whose process died between
// two steps of its stop. Fails, with all files kept, when the folder is no reel, is being recorded or
// recovered by a living process, or cannot be written, when its project file is there and the system refuses
// to read it, and when what a movie holds cannot be read any more.
// Opens the movies: not for the main thread.
[[nodiscard]] Result<RecoveredReel> recoverReel(const std::filesystem::path& folder,
                                                const ReelDefaults& defaults);

} // namespace glintro
