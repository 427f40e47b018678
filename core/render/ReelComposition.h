#pragma once

#include <filesystem>
#include <memory>

#include "core/base/Failure.h"
#include "core/media/decode/MovieReader.h"
#include "core/reel/Project.h"
#include "core/timeline/TimeMap.h"

namespace glintro {

// A reel laid out along its time map, ready to be played from front to back: the open movies, and which of
// their moments the finished reel shows when.
struct ReelComposition {
    std::unique_ptr<MovieReader> screen;
    std::unique_ptr<MovieReader> webcam; // null when the reel has none that can be read
    Seconds cameraOffset = 0;            // webcam time = source time - offset
    std::filesystem::path audio;         // the movie whose sound plays, when hasAudio
    bool hasAudio = false;
    TimeMap map;
    Size sourceSize; // of the screen movie, pixels

    // Fails where the screen movie cannot be read. A webcam movie that is missing or broken is left out.
    [[nodiscard]] static Result<ReelComposition> build(const Project& project,
                                                       const ProjectSettings& settings);
};

} // namespace glintro
