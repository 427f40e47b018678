#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

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

inline PixelRect wholeOf(PixelSize size) {
    return {0, 0, size.width, size.height};
}

// A rectangle without any pixel; a negative extent counts as none.
inline bool isEmpty(const PixelRect& rect) {
    return rect.width <= 0 || rect.height <= 0;
}

inline std::int64_t area(const PixelRect& rect) {
    return isEmpty(rect) ? 0 : std::int64_t{rect.width} * rect.height;
}

// The pixels in both rectangles. Where there are none, width or height is 0, never negative.
inline PixelRect intersected(const PixelRect& a, const PixelRect& b) {
    const int left = std::max(a.x, b.x);
    const int top = std::max(a.y, b.y);
    return {left, top, std::max(std::min(a.right(), b.right()) - left, 0),
            std::max(std::min(a.bottom(), b.bottom()) - top, 0)};
}

// The smallest rectangle around both; an empty one adds nothing.
inline PixelRect united(const PixelRect& a, const PixelRect& b) {
    if (isEmpty(a)) return b;
    if (isEmpty(b)) return a;
    const int left = std::min(a.x, b.x);
    const int top = std::min(a.y, b.y);
    return {left, top, std::max(a.right(), b.right()) - left, std::max(a.bottom(), b.bottom()) - top};
}

// Whether every pixel of `inner` lies in `outer`; an empty rectangle lies in any.
inline bool contains(const PixelRect& outer, const PixelRect& inner) {
    return isEmpty(inner) || intersected(outer, inner) == inner;
}

// A rectangle with `by` more on every side.
inline PixelRect grown(const PixelRect& rect, int by) {
    return {rect.x - by, rect.y - by, rect.width + 2 * by, rect.height + 2 * by};
}

inline Rect grown(const Rect& rect, double by) {
    return {rect.x - by, rect.y - by, rect.width + 2 * by, rect.height + 2 * by};
}

inline Rect toRect(const PixelRect& rect) {
    return {static_cast<double>(rect.x), static_cast<double>(rect.y), static_cast<double>(rect.width),
            static_cast<double>(rect.height)};
}

inline bool isEmpty(const Rect& rect) {
    return !(rect.width > 0 && rect.height > 0);
}

// The overlap of both rectangles. Where there is none, width or height is 0, never negative.
inline Rect intersected(const Rect& a, const Rect& b) {
    const double left = std::max(a.x, b.x);
    const double top = std::max(a.y, b.y);
    return {left, top, std::max(std::min(a.x + a.width, b.x + b.width) - left, 0.0),
            std::max(std::min(a.y + a.height, b.y + b.height) - top, 0.0)};
}

// Half-open: the left and top edges belong to the rectangle, the right and bottom ones do not.
inline bool contains(const Rect& rect, Point point) {
    return point.x >= rect.x && point.x < rect.x + rect.width && point.y >= rect.y
           && point.y < rect.y + rect.height;
}

// `size` scaled down, in its shape, until its longer side is at most `longestSide` (at least 1) pixels: the
// longer side is then exactly that, the shorter one rounded and at least 1. A smaller size stays as it is.
inline PixelSize fittedWithin(PixelSize size, int longestSide) {
    const int longer = std::max(size.width, size.height);
    if (longer <= longestSide) return size;
    const auto scaled = [&](int side) {
        const double exact = static_cast<double>(side) * longestSide / longer;
        return std::max(static_cast<int>(std::lround(exact)), 1);
    };
    return {scaled(size.width), scaled(size.height)};
}

// `size` scaled down, in its shape, as far as both sides still reach those of `covered`: one of them is then
// equal. A size that does not cover it stays as it is.
inline PixelSize shrunkToCover(PixelSize size, PixelSize covered) {
    if (size.width <= covered.width || size.height <= covered.height) return size;
    const double factor = std::max(static_cast<double>(covered.width) / size.width,
                                   static_cast<double>(covered.height) / size.height);
    const auto scaled = [&](int side, int least) {
        return std::max({static_cast<int>(std::lround(side * factor)), least, 1});
    };
    return {scaled(size.width, covered.width), scaled(size.height, covered.height)};
}

} // namespace glintro
