#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/model/ProjectSettings.h"

namespace glintro {

// A named backdrop style that is applied in one step: which backdrop, and how the recording is framed on it.
struct Look {
    std::string name = {}; // unique among all Looks
    std::string blurb = {};
    BackgroundKind background = BackgroundKind::gradient;
    std::int64_t gradientIndex = 0; // into Presets::gradients, for a gradient
    std::string solidHex = {};      // "#RRGGBB", for a solid backdrop
    double padding = 0;
    double cornerRadius = 0;
    double shadow = 0;
    bool keepsBackdrop = false; // reframes the recording on whatever backdrop the reel has

    // In the order of the tiles and of matching. Lives as long as the program.
    static std::span<const Look> all();
    static std::optional<Look> named(std::string_view name); // compared exactly

    // Changes backdrop and framing only. Switching to the wallpaper leaves the gradient and the colour as
    // they were, so that switching back restores them.
    void apply(ProjectSettings& to) const;
    ProjectSettings applied(const ProjectSettings& to) const;

    // Whether the settings show this Look: framing within 0.0005, the same backdrop unless the Look keeps it.
    bool matches(const ProjectSettings& settings) const;
    // The first Look that matches, `nullopt` for a hand-made style.
    static std::optional<Look> current(const ProjectSettings& settings);

    bool operator==(const Look&) const = default;
};

} // namespace glintro
