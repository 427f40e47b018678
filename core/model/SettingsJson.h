#pragma once

#include <nlohmann/json.hpp>

#include "core/model/ProjectSettings.h"

// Settings as a value of the JSON library, for those who store them inside a larger document.
namespace glintro {

// All 23 values under their field names; `trimEnd` only when there is one.
nlohmann::json settingsToJson(const ProjectSettings& settings);

// `object` must be a JSON object. Each value that is missing or malformed gets its default; one malformed
// element empties its whole list.
ProjectSettings settingsFromJson(const nlohmann::json& object);

} // namespace glintro
