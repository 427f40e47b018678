#pragma once

#include <functional>
#include <optional>
#include <string>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"

namespace glintro {

struct PointerPress {
    enum class Button { left, right };

    Button button = Button::left;
    Point position; // points on the desktop, where the pointer was at the press
    Seconds hostTime = 0;
};

// Where the pointer is and what it presses, all over the desktop and whichever program is in front.
class PointerSource {
  public:
    using PressHandler = std::function<void(const PointerPress&)>;

    virtual ~PointerSource() = default;

    // From then on `pressed` is called, on a thread of the source's, for each press of the left or right
    // button. Succeeds with the pointer alone when presses cannot be seen: see whyNoPresses().
    [[nodiscard]] virtual Result<void> start(PressHandler pressed) = 0;

    // No handler runs any more when this returns. Not from a handler.
    virtual void stop() = 0;

    // Where the pointer is now; nothing while that is not known. From any thread, between start and stop.
    virtual std::optional<Point> position() = 0;

    // One sentence for the user when presses cannot be seen here: why, and what to do about it.
    virtual std::optional<std::string> whyNoPresses() const { return std::nullopt; }
};

} // namespace glintro
