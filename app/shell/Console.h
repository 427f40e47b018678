#pragma once

#include <ostream>

#include <fmt/ostream.h>

#include "app/shell/TerminalText.h"

namespace glintro {

// Where a command writes: what was asked for goes to `out`, all else (what went wrong, warnings) to `error`.
struct Console {
    std::ostream& out;
    std::ostream& error;

    void warn(std::string_view sentence) const { fmt::print(error, "glintro: {}\n", printable(sentence)); }
};

} // namespace glintro
