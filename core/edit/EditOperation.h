#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "core/base/Geometry.h"
#include "core/edit/SettingsField.h"
#include "core/model/Look.h"

// What can be done to a reel by command, one value for each. A shot's number counts the shots from 1; times
// are source seconds.
namespace glintro::operation {

struct Split {
    Seconds at = 0;
};

struct Cut {
    std::int64_t shot = 0;
};

struct Restore {
    std::int64_t shot = 0;
};

struct SetSpeed {
    std::int64_t shot = 0;
    double rate = 1; // 0.25...16
};

struct SetZoom {
    std::int64_t shot = 0;
    double scale = 1; // 1...10
};

struct Join {
    std::int64_t shot = 0; // with the next one
};

struct MoveEdge {
    Seconds from = 0;
    Seconds to = 0;
};

struct Trim {
    Seconds start = 0; // from 0
    Seconds end = 0;
};

struct RemoveTrims {};

struct ApplyLook {
    Look look;
};

struct RebuildZooms {
    std::optional<double> level; // 1...10; absent: as the user prefers
};

struct SetField {
    const SettingsField* field = nullptr;
    SettingsField::Value value; // of that field
};

struct Rename {
    std::string name; // trimmed, not empty
};

} // namespace glintro::operation

namespace glintro {

using EditOperation = std::variant<operation::Split, operation::Cut, operation::Restore, operation::SetSpeed,
                                   operation::SetZoom, operation::Join, operation::MoveEdge, operation::Trim,
                                   operation::RemoveTrims, operation::ApplyLook, operation::RebuildZooms,
                                   operation::SetField, operation::Rename>;

} // namespace glintro
