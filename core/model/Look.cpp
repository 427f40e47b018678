#include "core/model/Look.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace glintro {
namespace {

constexpr double kTolerance = 0.0005;

bool near(double a, double b) {
    return std::abs(a - b) < kTolerance;
}

// Colour texts are ASCII; the C library's tolower would depend on the locale.
char upperCase(char letter) {
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, upperCase, upperCase);
}

template <class Predicate>
std::optional<Look> firstLook(Predicate predicate) {
    const auto looks = Look::all();
    const auto found = std::ranges::find_if(looks, predicate);
    return found == looks.end() ? std::nullopt : std::optional(*found);
}

} // namespace

std::span<const Look> Look::all() {
    using enum BackgroundKind;
    static const std::array<Look, 8> looks{
        {{"Aurora", "Violet into blue", gradient, 0, "#16161C", 0.075, 20, 0.65, false},
         {"Studio", "Charcoal, soft light", gradient, 12, "#16161C", 0.07, 18, 0.8, false},
         {"Dusk", "Plum fading to coral", gradient, 11, "#16161C", 0.08, 22, 0.7, false},
         {"Midnight", "Deep navy", gradient, 7, "#16161C", 0.07, 18, 0.85, false},
         {"Paper", "Warm off-white", solid, 0, "#F3EFE8", 0.07, 12, 0.3, false},
         {"Mono", "Ink black, tight frame", solid, 0, "#0D0B14", 0.045, 10, 0.5, false},
         {"Desktop", "Your wallpaper, blurred", wallpaper, 0, "#16161C", 0.07, 16, 0.6, false},
         {"Bare", "Just the recording", gradient, 0, "#16161C", 0, 0, 0, true}}};
    return looks;
}

std::optional<Look> Look::named(std::string_view name) {
    return firstLook([&](const Look& look) { return look.name == name; });
}

void Look::apply(ProjectSettings& to) const {
    if (!keepsBackdrop) {
        to.background = background;
        if (background == BackgroundKind::gradient) to.gradientIndex = gradientIndex;
        if (background == BackgroundKind::solid) to.solidHex = solidHex;
    }
    to.padding = padding;
    to.cornerRadius = cornerRadius;
    to.shadow = shadow;
}

ProjectSettings Look::applied(const ProjectSettings& to) const {
    ProjectSettings settings = to;
    apply(settings);
    return settings;
}

bool Look::matches(const ProjectSettings& settings) const {
    const bool sameFraming = near(settings.padding, padding) && near(settings.cornerRadius, cornerRadius)
                             && near(settings.shadow, shadow);
    if (!sameFraming) return false;
    if (keepsBackdrop) return true;
    if (settings.background != background) return false;
    switch (background) {
        case BackgroundKind::gradient:
            return settings.gradientIndex == gradientIndex;
        case BackgroundKind::solid:
            return equalIgnoringCase(settings.solidHex, solidHex);
        case BackgroundKind::wallpaper:
            return true;
    }
    return false;
}

std::optional<Look> Look::current(const ProjectSettings& settings) {
    return firstLook([&](const Look& look) { return look.matches(settings); });
}

} // namespace glintro
