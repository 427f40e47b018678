#pragma once

#include <QString>
#include <functional>
#include <optional>

#include "core/base/Geometry.h"
#include "core/reel/Project.h"
#include "platform/ShareableContent.h"

namespace glintro {

// What the recording controller shows, one interface to a concern. All calls on the main thread; none waits
// for the user.

// What went well or wrong.
class MessageView {
  public:
    virtual ~MessageView() = default;
    // Something went wrong: the user has to confirm having read it.
    virtual void alert(const QString& title, const QString& text) = 0;
    // One sentence that goes away by itself.
    virtual void notice(const QString& sentence) = 0;
};

// The main window, which each of these brings up.
class MainWindowView {
  public:
    virtual ~MainWindowView() = default;
    virtual void showReel(const Project& project) = 0; // of the take that has just ended
    virtual void presentPermissionSheet() = 0;         // the system lets nobody record the screen
};

class RecordingBarView {
  public:
    virtual ~RecordingBarView() = default;
    virtual void showBar() = 0;
    virtual void hideBar() = 0;
};

class CountdownView {
  public:
    virtual ~CountdownView() = default;
    // On the main screen when none is given.
    virtual void showCountdown(int number, const std::optional<ShareableDisplay>& screen) = 0;
    virtual void hideCountdown() = 0;
};

class AreaPickerView {
  public:
    // Called once, with the area in whole points of the desktop, or `nullopt` when the user cancelled.
    using AreaPicked = std::function<void(std::optional<Rect>)>;

    virtual ~AreaPickerView() = default;
    // On the screen under the pointer; `initial` is the area chosen before.
    virtual void pickArea(const std::optional<Rect>& initial, AreaPicked completion) = 0;
};

// The views of one controller, which they outlive. Those that are absent are not shown; without an area
// picker, areas are set by setArea() only.
struct RecordingViews {
    MessageView& messages;
    MainWindowView& mainWindow;
    RecordingBarView* bar = nullptr;
    CountdownView* countdown = nullptr;
    AreaPickerView* areaPicker = nullptr;
};

} // namespace glintro
