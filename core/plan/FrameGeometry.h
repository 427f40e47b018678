#pragma once

#include "core/base/Geometry.h"
#include "core/model/ProjectSettings.h"
#include "core/plan/ZoomCamera.h"

// The geometry of one output frame: canvas, inner area, crop, zoom window and target.
//
//   recording (source pixels)            canvas (output pixels)
//   +--------------------------+         +---------------------------+
//   |      +-----------+       |         |   padding                 |
//   |      |  window   |       |  ---->  |   +-------------------+   |
//   |      +-----------+       |         |   |      target       |   |
//   +--------------------------+         |   +-------------------+   |
//                                        +---------------------------+
namespace glintro {

// Whether the recording is shown whole, or cropped to the shape of the inner area.
enum class Framing { fit, fill };

struct ShortSide {
    double pixels = 0;
};
struct LongSide {
    double pixels = 0;
};

// Canvas of an aspect for a recording: even dimensions, at least 2.
PixelSize outputSize(AspectRatio aspect, Size source, ShortSide shortSide);
PixelSize outputSize(AspectRatio aspect, Size source, LongSide longSide);

// The padding on every side of the canvas, in pixels.
double paddingPixels(const ProjectSettings& settings, PixelSize canvas);

// The part of the recording, in whole pixels, that an unzoomed frame shows; never empty.
Size sourceCrop(const ProjectSettings& settings, Size source, PixelSize canvas, Framing framing);

// Where the crop lies on the canvas, centred and as large as the inner area allows. May reach beyond the
// canvas when the padding is negative.
PixelRect targetRect(const ProjectSettings& settings, Size crop, PixelSize canvas);

// The part of the recording that is shown at a time; may reach beyond the recording, whose edges then repeat.
Rect zoomWindow(const ZoomCamera& camera, Seconds sourceTime, Size source, Size crop);

// Half away from zero, as all canvas and target dimensions are rounded.
double roundHalfAway(double value);

} // namespace glintro
