#pragma once

#include <functional>
#include <optional>
#include <string>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"

namespace glintro {

// One press of a button.
struct PointerPress {
    enum class Button { left, right };

    Button button = Button::left;
    Point position; // desktop coordinates: where the pointer was at the press
    Seconds hostTime = 0;
};

// Where the pointer is and what it presses, all over the desktop and whichever program is in front.
class PointerSource {
  public:
    using PressHandler = std::function<void(const PointerPress&)>;
    using WarningHandler = std::function<void(const std::string&)>;

    virtual ~PointerSource() = default;

    // Before start(): who is told, in one sentence for the user, when presses are no longer seen between
    // start and stop. Called at most once for each start, on a thread of the source's. Ignored by sources
    // that cannot lose them.
    virtual void setWarningHandler(const WarningHandler& /*warned*/) {}

    // From then on `pressed` is called, on a thread of the source's, for each press of the left or right
    // button. Succeeds with the pointer alone when presses cannot be seen: see whyNoPresses().
    [[nodiscard]] virtual Result<void> start(PressHandler pressed) = 0;

    // No handler runs any more when this returns. Not from a handler.
    virtual void stop() = 0;

    // Where the pointer is now, in desktop coordinates; `nullopt` while that is not known. From any thread,
    // between start and stop.
    virtual std::optional<Point> position() = 0;

    // After start(), one sentence for the user when presses cannot be seen here: why, and what to do about
    // it.
    virtual std::optional<std::string> whyNoPresses() const { return std::nullopt; }
};

} // namespace glintro
