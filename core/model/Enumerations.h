#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "core/base/Geometry.h"

namespace glintro {

enum class BackgroundKind { gradient, solid, wallpaper };
enum class AspectRatio { wide, tall, square, classic, original };
enum class CamCorner { topLeft, topRight, bottomLeft, bottomRight };
enum class CamShape { circle, rounded };

// Every case in the order in which it is declared and offered.
template <class Enumeration>
inline constexpr std::array<Enumeration, 0> allCases{};
template <>
inline constexpr std::array allCases<BackgroundKind>{BackgroundKind::gradient, BackgroundKind::solid,
                                                     BackgroundKind::wallpaper};
template <>
inline constexpr std::array allCases<AspectRatio>{AspectRatio::wide, AspectRatio::tall, AspectRatio::square,
                                                  AspectRatio::classic, AspectRatio::original};
template <>
inline constexpr std::array allCases<CamCorner>{CamCorner::topLeft, CamCorner::topRight,
                                                CamCorner::bottomLeft, CamCorner::bottomRight};
template <>
inline constexpr std::array allCases<CamShape>{CamShape::circle, CamShape::rounded};

// The string a case is stored as, which is its identity in files; an aspect ratio is shown under it, too.
std::string_view storedText(BackgroundKind kind);
std::string_view storedText(AspectRatio aspect);
std::string_view storedText(CamCorner corner);
std::string_view storedText(CamShape shape);

// The case stored as `text`, compared exactly.
template <class Enumeration>
std::optional<Enumeration> fromStoredText(std::string_view text) {
    for (const Enumeration each : allCases<Enumeration>) {
        if (storedText(each) == text) return each;
    }
    return std::nullopt;
}

std::string_view title(BackgroundKind kind);
std::string_view symbol(AspectRatio aspect); // the icon's name
std::string_view shortLabel(CamCorner corner);

// Width over height of the canvas. `source` is the recording's size, which only `original` looks at; a source
// without height counts as 16:9.
double ratio(AspectRatio aspect, Size source);

} // namespace glintro
