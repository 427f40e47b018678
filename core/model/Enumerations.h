#pragma once

#include <array>
#include <string_view>

#include "core/base/Geometry.h"

namespace glintro {

enum class BackgroundKind { gradient, solid, wallpaper };
enum class AspectRatio { wide, tall, square, classic, original };
enum class CamCorner { topLeft, topRight, bottomLeft, bottomRight };
enum class CamShape { circle, rounded };

}  // namespace glintro
