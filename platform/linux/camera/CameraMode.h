#pragma once

#include <optional>
#include <span>
#include <string>

#include "core/base/Geometry.h"

namespace glintro {

// One of the ways in which a camera can send pictures.
struct CameraMode {
    // What comes over the cable: pixels as they are, or pictures packed by JPEG.
    enum class Packing { raw, jpeg };

    std::string format; // as FFmpeg names it
    Packing packing = Packing::raw;
    PixelSize size;
    double fps = 0; // 0 when the camera does not tell
    bool operator==(const CameraMode&) const = default;
};

// The mode to record in: fluent, not beyond 1920 x 1080 where there is a choice, as large as that allows, at
// no more than 30 a second; packed where raw pictures would fill the cable that other devices share.
// `nullopt` when there is no mode.
std::optional<CameraMode> bestCameraMode(std::span<const CameraMode> modes);

} // namespace glintro
