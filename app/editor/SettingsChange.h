#pragma once

#include "core/model/ProjectSettings.h"

namespace glintro {

// What a change of the settings makes it necessary to do again. The one place where an open reel's old and
// new settings are compared.
struct SettingsChange {
    bool structure = false;    // trims, cuts or speeds: the time map, and the composition that plays it
    bool shots = false;        // the storyboard has to be derived again
    bool lookPreviews = false; // the tiles of the Looks show something else

    static SettingsChange between(const ProjectSettings& old, const ProjectSettings& now);
};

} // namespace glintro
