#pragma once

// Shapes in the one orientation used everywhere: origin at the top left, x to the right, y down.
namespace glintro {

// Seconds on a clock that the variable's name tells: sourceTime, compositionTime, hostTime.
using Seconds = double;

struct Point {
    double x = 0;
    double y = 0;
    bool operator==(const Point&) const = default;
};

struct Size {
    double width = 0;
    double height = 0;
    bool operator==(const Size&) const = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool operator==(const Rect&) const = default;
};

struct PixelSize {
    int width = 0;
    int height = 0;
    bool operator==(const PixelSize&) const = default;
};

// Whole pixels; covers columns [x, x + width) and rows [y, y + height).
struct PixelRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    int right() const { return x + width; }
    int bottom() const { return y + height; }
    bool operator==(const PixelRect&) const = default;
};

} // namespace glintro
