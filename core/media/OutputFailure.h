#pragma once

#include <string>
#include <string_view>

#include "core/base/Failure.h"

namespace glintro {

// Says why a file cannot be written. `what` is "movie" or "picture", `error` an errno, `fallback` the
// sentence for errors that mean nothing to the user.
std::unexpected<Failure> outputFailure(std::string_view what, int error, std::string fallback);

} // namespace glintro
