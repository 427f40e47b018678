#pragma once

#include <vector>

#include "core/base/Geometry.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11Resource.h"

namespace glintro {

// Continues the desktop into places of which nobody tells what lies there: from the pixels on both sides of a
// place, one row above and one below it, or the columns beside a tall one.
//
//      a b c d        each pixel of the place is the mean of the two at its
//      . . . .        ends, weighted by its distance from them: here of `b`
//      . x . .        above and `f` below
//      e f g h
class X11Infill {
  public:
    // `area`: the part of the root window that the pictures show; `format` is that of the root's pixels. The
    // connection must outlive this.
    X11Infill(const X11Connection& connection, const PixelRect& area, xcb_render_pictformat_t format);

    // Draws the places, which lie inside the area and are told from the root's corner, into a picture of the
    // area, whose clip region holds. Places that touch are one place. Mid-grey where nothing surrounds one.
    void draw(xcb_render_picture_t picture, const std::vector<PixelRect>& places) const;

  private:
    struct Edges;

    Edges edgesOf(const PixelRect& place) const;
    void fill(xcb_render_picture_t picture, const PixelRect& place, const Edges& edges) const;

    const X11Connection& connection_;
    PixelRect area_;
    PixelRect root_;
    xcb_render_pictformat_t format_;
    X11GraphicsContext copying_;
};

} // namespace glintro
