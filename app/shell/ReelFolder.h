#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "app/shell/Console.h"
#include "core/base/Failure.h"
#include "core/raster/Picture.h"
#include "core/reel/Project.h"

namespace glintro {

// The reel in a folder that the user named. A failure says what the folder is instead.
[[nodiscard]] Result<Project> openReel(const std::filesystem::path& folder);

// Why a folder is not a reel that can be opened, for a status other than ok.
Failure whyNoReel(const std::filesystem::path& folder, Project::LoadResult::Status status);

// The recorded events, none where they cannot be read; warns when the file is there but cannot be read.
RecordingEvents eventsOrWarning(const Project& project, const Console& console);

// Warns when the reel has a camera bubble to show, but no camera movie that can be read.
void warnOfMissingCamera(const Project& project, const Console& console);

} // namespace glintro
