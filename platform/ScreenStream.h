#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "platform/PointerSource.h"

namespace glintro {

// Rows [begin, end) of a picture.
struct RowRange {
    int begin = 0;
    int end = 0;
    bool operator==(const RowRange&) const = default;
};

// One complete picture of what is recorded, without the pointer.
struct ScreenFrame {
    PixelSize size;                     // may differ from frame to frame when a window is resized
    const std::uint8_t* bgra = nullptr; // rows of B, G, R, x bytes, top to bottom
    std::ptrdiff_t stride = 0;          // bytes from row to row
    Seconds hostTime = 0;               // when the screen showed it
    // Where it differs from the frame delivered before it: ascending, disjoint. Empty when it is the same
    // picture again; all rows for the first frame and after a change of size.
    std::vector<RowRange> changed;
    // Keeps the pixels alive and unchanged. Release it soon: a stream has only `queueDepth` buffers, and
    // drops frames while none is free.
    std::shared_ptr<const void> storage;
};

struct StreamConfiguration {
    int fps = 60;       // at most this many frames a second
    int queueDepth = 6; // frames that may be in use at the same time
};

struct StreamHandlers {
    std::function<void(ScreenFrame)> frame;
    // The stream ended by itself, for good; called at most once, after the last frame.
    std::function<void(Failure)> stopped;
    // A frame was dropped because no buffer was free.
    std::function<void()> dropped;
};

// The pictures of one display, area or window while it lives. A frame comes at once after the start, then
// whenever something has changed, at most `fps` a second, and after kRepeatInterval without change the same
// picture again with a new time: silence for longer means that the stream is dead.
class ScreenStream {
  public:
    static constexpr Seconds kRepeatInterval = 1;

    virtual ~ScreenStream() = default;

    // The size of the recording in pixels: that of the first frame, not yet made even.
    virtual PixelSize pixelSize() const = 0;

    // The rectangle, in desktop coordinates, that a recorded picture of pixelSize() covers now. It follows
    // a window that is moved; when the window is resized, it is what the fitted and centred picture covers,
    // bars included (see fitCentred). From any thread.
    virtual Rect frame() const = 0;

    // Where the pointer is, in the coordinates of frame(). Lives as long as the stream; may be started before
    // it and outlives its stop().
    virtual PointerSource& pointer() = 0;

    // Whether the system draws the pointer into the frames after all, because it cannot leave it out.
    virtual bool pointerIsEmbedded() const { return false; }

    // One sentence for the user on what is recorded when the system shares a choice remembered from an
    // earlier take, so that they need not have been asked; nullopt otherwise.
    virtual std::optional<std::string> rememberedChoice() const { return std::nullopt; }

    // Handlers are called on one thread of the stream's. Call once.
    [[nodiscard]] virtual Result<void> start(const StreamConfiguration& configuration,
                                             StreamHandlers handlers) = 0;

    // No handler runs any more when this returns. Not from a handler. May be called without a start.
    virtual void stop() = 0;
};

// The largest rectangle of the content's shape inside the canvas, centred.
inline Rect fitCentred(Size content, Size canvas) {
    const double byWidth = canvas.width / content.width;
    const double byHeight = canvas.height / content.height;
    const double scale = byWidth < byHeight ? byWidth : byHeight;
    const Size fitted{content.width * scale, content.height * scale};
    return {(canvas.width - fitted.width) / 2, (canvas.height - fitted.height) / 2, fitted.width,
            fitted.height};
}

} // namespace glintro
