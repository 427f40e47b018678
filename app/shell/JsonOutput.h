#pragma once

#include <nlohmann/json.hpp>

#include "app/shell/Console.h"

namespace glintro {

// Names may come from files and windows: what in them is no UTF-8 is replaced.
inline void printJson(const nlohmann::json& json, const Console& console) {
    console.out << json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

} // namespace glintro
