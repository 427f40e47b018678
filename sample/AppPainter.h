#pragma once

#include <optional>

#include "sample/AppFrame.h"
#include "sample/Canvas.h"

namespace glintro::sample {

// Keeps a picture of the application up to date: only what differs from the frame before is drawn again.
class AppPainter {
  public:
    AppPainter(PixelSize size, const AppLayout& layout);

    // `state` is the one that `frame` was evaluated from.
    void paint(const AppState& state, const AppFrame& frame);
    Canvas& canvas() { return canvas_; }

  private:
    void paintArea(const Rect& area, const AppState& state, const AppFrame& frame);
    void paintCorners();

    const AppLayout* layout_;
    Canvas canvas_;
    SurfacePtr desktop_; // what lies behind the window
    SurfacePtr frame_;   // the same with the window's rounded shape cut out
    std::optional<AppFrame> shown_;
};

} // namespace glintro::sample
