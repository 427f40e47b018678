#pragma once

#include <string_view>
#include <vector>

#include "core/reel/Project.h"

namespace glintro {

// What a reel's folder holds beside its screen movie, as far as the editor's model needs it.
struct ReelMaterial {
    std::vector<EventSample> clicks = {};
    // Sentences for the panels whose controls would be of no use; empty for none.
    std::string_view pointerNotice = {};
    std::string_view cameraNotice = {};
    std::string_view zoomsNotice = {};
};

// Reads the events and opens the camera's movie: blocks on the disk.
ReelMaterial readMaterial(const Project& project);

} // namespace glintro
