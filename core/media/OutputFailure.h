#pragma once

#include <string>
#include <string_view>

#include "core/base/Failure.h"

namespace glintro {

// What stopped a file from being written, in words for the user: `what` is "movie" or "picture", `error` an
// errno, `fallback` the sentence for errors that say nothing to people.
std::unexpected<Failure> outputFailure(std::string_view what, int error, std::string fallback);

} // namespace glintro
