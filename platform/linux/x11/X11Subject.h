#pragma once

#include <algorithm>
#include <optional>

#include <xcb/xcb.h>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "platform/RowSet.h"
#include "platform/ScreenStream.h"
#include "platform/linux/x11/X11FrameBuffer.h"

namespace glintro {

// What a stream shows: it listens to the server and knows where the picture is and which of
// its rows have changed. Used by one thread at a time, except frame().
class X11Subject {
  public:
    virtual ~X11Subject() = default;

    // Registers with the server for what must be known. Once, before all below.
    [[nodiscard]] virtual Result<void> begin() = 0;

    virtual void handle(const xcb_generic_event_t& event) = 0;

    // Does what follows from the events handled. A failure ends the stream.
    [[nodiscard]] virtual Result<void> update(Seconds now) = 0;
    // When update() wants to be called although no event comes.
    virtual std::optional<Seconds> wakeTime() const = 0;

    virtual PixelSize size() const = 0;
    // The rows that differ from what the last expose() showed; none while there is nothing to show.
    virtual const RowSet& dirty() const = 0;
    // Makes the picture ready to be fetched and forgets what was dirty in it.
    virtual X11Sources expose() = 0;
    // Whether the events since expose() tell that what was fetched must not be shown. All is dirty then.
    virtual bool isOutdated() = 0;
    virtual void makeAllDirty() = 0;

    // What a picture of `canvas` covers of the desktop now, in points. From any thread.
    virtual Rect frame(PixelSize canvas) const = 0;
};

// The part of the root window that a picture of `canvas` covers when `shown` is fitted and centred in it.
inline Rect coveredByCanvas(const PixelRect& shown, PixelSize canvas, double scale) {
    const Size whole{static_cast<double>(canvas.width), static_cast<double>(canvas.height)};
    const Rect fitted =
        fitCentred({static_cast<double>(shown.width), static_cast<double>(shown.height)}, whole);
    const double pixels = shown.width / fitted.width; // of the root for each of the canvas
    return {(shown.x - fitted.x * pixels) / scale, (shown.y - fitted.y * pixels) / scale,
            whole.width * pixels / scale, whole.height * pixels / scale};
}

} // namespace glintro
