#pragma once

#include <QString>
#include <functional>
#include <optional>

#include "core/base/Geometry.h"
#include "core/reel/Project.h"
#include "platform/ShareableContent.h"

namespace glintro {

// What the recording controller shows. All calls on the main thread; none waits for the user.
class RecordingViews {
  public:
    // Called once, with the area in whole points of the desktop, or nothing when the user gave up.
    using AreaPicked = std::function<void(std::optional<Rect>)>;

    virtual ~RecordingViews() = default;

    virtual void showBar() = 0;
    virtual void hideBar() = 0;
    // On the main screen when none is given.
    virtual void showCountdown(int number, const std::optional<ShareableDisplay>& screen) = 0;
    virtual void hideCountdown() = 0;
    // On the screen under the pointer; `initial` is the area chosen before.
    virtual void pickArea(const std::optional<Rect>& initial, AreaPicked completion) = 0;
    virtual void showMainWindow() = 0;
    // The main window with the reel of the take that has just ended.
    virtual void showReel(const Project& project) = 0;
    virtual void presentPermissionSheet() = 0;
    // Something went wrong: the user has to confirm having read it.
    virtual void alert(const QString& title, const QString& text) = 0;
    // One sentence that goes away by itself.
    virtual void notice(const QString& sentence) = 0;
};

} // namespace glintro
