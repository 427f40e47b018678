#pragma once

#include <optional>
#include <vector>

#include "core/base/Geometry.h"

namespace glintro {

// The places of the screen that must not be shown as they are. A place that a window has left stays for
// `linger` seconds, because a compositing manager takes its time to take the window off the screen.
class X11Cover {
  public:
    // Takes in where the windows are now. The places that were added or removed by it.
    std::vector<PixelRect> follow(const std::vector<PixelRect>& places, Seconds now, Seconds linger);

    const std::vector<PixelRect>& rects() const { return rects_; }
    bool isEmpty() const { return rects_.empty(); }
    // Whether the whole of `rect` lies in one of the places.
    bool holds(const PixelRect& rect) const;
    // Whether it overlaps one of the places, or lies right beside it.
    bool touches(const PixelRect& rect) const;
    // When the next place must be given up.
    std::optional<Seconds> nextEnd() const;

  private:
    std::vector<PixelRect> rects_;
    std::vector<std::optional<Seconds>> ends_; // of each place: nothing while a window is there
};

} // namespace glintro
