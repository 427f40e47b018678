#pragma once

#include <optional>
#include <vector>

#include "core/base/Geometry.h"

namespace glintro {

// The occluded places: those of the screen where a window is that must not be shown. A place that the window
// has left stays occluded for `linger` seconds, because a compositing manager may show the window for that
// long.
class X11Occlusion {
  public:
    // Told where the windows are now. Returns the places that this added or removed.
    std::vector<PixelRect> update(const std::vector<PixelRect>& places, Seconds now, Seconds linger);

    const std::vector<PixelRect>& rects() const { return rects_; }
    bool isEmpty() const { return rects_.empty(); }
    // Whether the whole of `rect` lies in one of the places.
    bool contains(const PixelRect& rect) const;
    // Whether it overlaps one of the places, or lies right beside it.
    bool touches(const PixelRect& rect) const;
    // When the next place that was left ends; `nullopt` when none was.
    std::optional<Seconds> nextExpiry() const;

  private:
    std::vector<PixelRect> rects_;
    std::vector<std::optional<Seconds>> ends_; // of each place: absent while a window is there
};

} // namespace glintro
