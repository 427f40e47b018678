#pragma once

#include <array>
#include <string_view>

namespace glintro {

// A gradient from colour `a` at the top left to colour `b` at the bottom right, both "#RRGGBB".
struct GradientPreset {
    std::string_view name;
    std::string_view a;
    std::string_view b;
    bool operator==(const GradientPreset&) const = default;
};

struct Presets {
    // What ProjectSettings::gradientIndex counts in. Files store the index: append only.
    static constexpr std::array<GradientPreset, 14> gradients{{{"Aurora", "#6A11CB", "#2575FC"},
                                                               {"Ember", "#FF9A3C", "#D93A62"},
                                                               {"Harbor", "#2BC0E4", "#1C4E9C"},
                                                               {"Plum", "#8E54E9", "#3A1C71"},
                                                               {"Fern", "#9BE15D", "#1F8A70"},
                                                               {"Graphite", "#4B5563", "#111827"},
                                                               {"Apricot", "#FFE1B3", "#F58E7E"},
                                                               {"Midnight", "#1E3C72", "#0B1026"},
                                                               {"Mist", "#EEF2F7", "#C9D6E8"},
                                                               {"Lagoon", "#43E2C6", "#2F6FDB"},
                                                               {"Sunset", "#FFD166", "#EF476F"},
                                                               {"Dusk", "#2A1B4D", "#E2725B"},
                                                               {"Studio", "#3A3A44", "#16161C"},
                                                               {"Aurora Night", "#0F2027", "#2C5364"}}};

    // The colours offered for a solid backdrop.
    static constexpr std::array<std::string_view, 8> solids{"#16161C", "#FFFFFF", "#F3EFE8", "#0E2A47",
                                                            "#1F3B2D", "#3B1F2B", "#FF8A3D", "#5B5BD6"};
};

} // namespace glintro
