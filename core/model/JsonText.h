#pragma once

#include <cstddef>
#include <string_view>

#include <nlohmann/json.hpp>

#include "core/base/Failure.h"

namespace glintro {

// What a text may hold at most. A document tree needs many times the memory of its text, so the text is
// measured before a tree is built.
struct JsonLimits {
    std::size_t bytes = 0;
    std::size_t values = 0;
    std::size_t depth = 0; // levels of objects and lists
};

// The document tree of a JSON text. A number too large for a double (1e999) reads as null, which is a value
// of the wrong type wherever a number is expected: the parser alone would refuse the whole text. Fails for
// what is no JSON text, which a text with a zero byte is not, and for one beyond the limits.
[[nodiscard]] Result<nlohmann::json> parseJson(std::string_view text, const JsonLimits& limits);

} // namespace glintro
