#pragma once

#include <string>

#include "app/shell/Inspection.h"
#include "core/base/Failure.h"

namespace glintro {

// One JSON object, indented, numbers in full precision. Fails for a number that is not finite, which JSON
// cannot hold.
[[nodiscard]] Result<std::string> inspectionJson(const Inspection& inspection);

} // namespace glintro
