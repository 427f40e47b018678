#pragma once

#include <cmath>

#include "core/model/RecordingEvents.h"
#include "core/raster/Convert.h"

// What the benchmarks of drawing share.
namespace glintro {

// Text-like: fine dark strokes on a light page.
inline PicturePtr page(PixelSize size) {
    BgraImage image(size);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            for (int c = 0; c < 4; ++c)
                image.row(y)[4 * x + c] =
                    (x * 7 + y * 13) % 31 < 9 ? static_cast<std::uint8_t>(40 + c * 20) : 245;
    PictureBuffer buffer(PixelLayout::yuv420, size);
    bgraToYuv420(image.pixels.data(), static_cast<std::ptrdiff_t>(image.rowBytes()), buffer);
    return share(std::move(buffer));
}

// A minute of a pointer that never rests, with a click every second.
inline RecordingEvents movingPointer() {
    RecordingEvents events;
    events.duration = 60;
    for (int i = 0; i < 3600; ++i)
        events.cursor.push_back(
            {{i / 60.0, 0.5 + 0.4 * std::sin(i * 0.01), 0.5 + 0.4 * std::cos(i * 0.013)}});
    for (int i = 0; i < 60; ++i) events.clicks.push_back({{i + 0.5, 0.5, 0.5}});
    return events;
}

} // namespace glintro
