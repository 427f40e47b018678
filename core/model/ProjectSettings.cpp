#include "core/model/ProjectSettings.h"

namespace glintro {

bool ProjectSettings::sameStructure(const ProjectSettings& as) const {
    return trimStart == as.trimStart && trimEnd == as.trimEnd && cuts == as.cuts && speeds == as.speeds;
}

} // namespace glintro
