#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "core/model/ProjectSettings.h"

namespace glintro {

// A field of the settings that can be set by its name: all of them but the trims and the lists, which have
// operations of their own.
struct SettingsField {
    // Of the type that the field has.
    using Value = std::variant<bool, std::int64_t, double, std::string, BackgroundKind, AspectRatio,
                               CamCorner, CamShape>;
    template <class T>
    struct Place {
        T ProjectSettings::*member;
    };
    template <class Number>
    struct Ranged {
        Number ProjectSettings::*member;
        Number least; // both ends are in the range
        Number most;
    };
    using AnyPlace =
        std::variant<Place<bool>, Ranged<std::int64_t>, Ranged<double>, Place<std::string>,
                     Place<BackgroundKind>, Place<AspectRatio>, Place<CamCorner>, Place<CamShape>>;

    std::string_view key; // as in the project file
    AnyPlace place;

    // The table of all fields. Lives as long as the program.
    static std::span<const SettingsField> all();
    // Null for a key that is not in the table.
    static const SettingsField* named(std::string_view key);

    // "a number from 0 to 0.2", "true or false", "one of circle, rounded"
    std::string expectation() const;
    // What a text says; `nullopt` for one that is not as expected. Numbers read the same in every locale.
    std::optional<Value> parse(std::string_view text) const;
    // `value` must come from this field's parse().
    void assign(const Value& value, ProjectSettings& to) const;
};

} // namespace glintro
