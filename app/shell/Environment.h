#pragma once

#include <functional>
#include <optional>
#include <string>

namespace glintro {

// The value of an environment variable; nullopt when it is not set.
using Environment = std::function<std::optional<std::string>(const char* name)>;

std::optional<std::string> processEnvironment(const char* name);

} // namespace glintro
