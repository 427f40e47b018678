#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "core/base/Failure.h"
#include "core/model/Enumerations.h"
#include "core/model/Timestamp.h"
#include "core/reel/Project.h"
#include "core/reel/TakeJournal.h"

namespace glintro {

// What the preferences say about new reels.
struct ReelDefaults {
    double zoomLevel = 2.0;                 // of the automatic zooms
    std::optional<AspectRatio> aspect = {}; // 16:9 when absent
};

// What a reel is made of besides the movies in its folder.
struct ReelFacts {
    std::string name = {};
    Timestamp created = {};
    std::optional<TakeRecord> take = {}; // what its journal tells; absent for a recording without one
    ReelDefaults defaults = {};
};

struct FinishedReel {
    Project project;
    std::optional<std::string> notice = {}; // one sentence on what is not as it should be
};

// Makes a recording whose process writes its files no more a reel. Stopping a take and recovering one both
// end here:
//
//     finish raw.mov and camera.mov ─► place the events ─► write project.json ─► remove the journal
//
// Each step leaves a folder that the whole can be done in again, and what is done already stays as it is. A
// project file that can be read is kept. When the events cannot be written, the reel is registered without
// them and its journal stays for the next time. Fails, with all files kept, when raw.mov is gone, cannot be
// read or holds no picture, and when the folder cannot be written. Reads the movies: not for the main thread.
[[nodiscard]] Result<FinishedReel> finishReel(const std::filesystem::path& folder, const ReelFacts& facts);

} // namespace glintro
