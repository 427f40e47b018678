#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "core/base/Geometry.h"

// Numbers as a user types them, read the same under every locale; nullopt for texts that hold anything else.
namespace glintro {

std::optional<std::int64_t> parseWhole(std::string_view text);  // "-2", "+30"; decimal digits only
std::optional<double> parseDecimal(std::string_view text);      // "1.6", "-2", "1e3"; always finite
std::optional<PixelSize> parsePixelSize(std::string_view text); // "2560x1600", both at least 1

} // namespace glintro
