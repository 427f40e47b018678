#pragma once

#include <map>
#include <optional>
#include <vector>

#include "core/base/Geometry.h"
#include "platform/RowSet.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11Infill.h"
#include "platform/linux/x11/X11Resource.h"
#include "platform/linux/x11/X11TopLevels.h"

namespace glintro {

// Whether a program composes the screen from the windows' pixels, with shadows and transparency.
bool isX11ScreenComposed(const X11Connection& connection);

// A picture on the server of a part of the root window that shows what lies under and above some of its
// windows instead of them: the root's own pixels, and where it is covered by them, the other windows' pixels
// drawn again over the wallpaper. All top-level windows must be redirected, so that the server keeps the
// pixels of those that are covered.
class X11Composition {
  public:
    // The connection must outlive this.
    X11Composition(const X11Connection& connection, const PixelRect& area);

    // Told which windows there are and where; windows of this process are left out.
    void follow(const std::vector<X11TopLevel>& bottomToTop);

    // The part of the root window where a followed window has changed, or the wallpaper has.
    std::optional<PixelRect> handle(const xcb_generic_event_t& event);

    // Whether nobody tells what the wallpaper is, so that it is guessed from the pixels around each place.
    bool guessesWallpaper() const { return !wallpaper_.picture; }

    // Draws rows of the picture again: the root's own pixels, and in the occluded places, told from the
    // root's corner, the windows. Returns the picture.
    xcb_pixmap_t draw(const RowSet& rows, const std::vector<PixelRect>& occluded);

  private:
    struct Layer {
        X11TopLevel window;
        X11Pixmap pixmap;
        X11Picture picture;
        X11Damage damage;
        bool hasReported = false;
    };
    struct Wallpaper {
        X11Pixmap pixmap; // none when the picture is of a pixmap that is not ours
        X11Picture picture;
        int x = 0; // where the area's corner is in it
        int y = 0;
    };

    X11Picture pictureOf(xcb_drawable_t drawable, xcb_visualid_t visual) const;
    Layer layerOf(const X11TopLevel& window);
    Layer keptOrNew(const X11TopLevel& window);
    Wallpaper readWallpaper();
    Wallpaper rootBackground();
    Wallpaper announcedBackground();
    void copyRows(const RowSet& rows);
    X11Region occludedRegion(const RowSet& rows, const std::vector<PixelRect>& occluded);
    void drawWallpaper(const X11Region& region, const std::vector<PixelRect>& places);
    void drawLayer(const Layer& layer, const X11Region& region);

    const X11Connection& connection_;
    PixelRect area_;
    bool isScreenComposed_;
    std::map<xcb_visualid_t, xcb_render_pictformat_t> formats_;
    X11Infill infill_;
    xcb_atom_t wallpaperAtom_;
    X11Pixmap pixmap_;
    X11GraphicsContext copying_;
    X11Picture picture_;
    Wallpaper wallpaper_;
    std::vector<Layer> layers_; // bottom to top
};

} // namespace glintro
