#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <optional>

#include "app/recording/CaptureSource.h"
#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "platform/ScreenCapture.h"
#include "platform/ShareableContent.h"

namespace glintro {

// What is to be recorded, out of what can be.
class RecordingChoice {
    Q_GADGET

  public:
    enum class Mode { display, window, area };
    Q_ENUM(Mode)

    // What can be recorded now. The selection is kept while it can be recorded in this mode; else the first
    // source offered replaces it.
    void offer(ShareableContent content);
    // A display or a window, with the first one offered selected unless one is already.
    void setMode(Mode mode);
    void select(const CaptureSource::Kind& kind); // and its mode
    void setArea(const Rect& area);               // and its mode; in points of the desktop

    Mode mode() const { return mode_; }
    const QList<CaptureSource>& displays() const { return displays_; }
    const QList<CaptureSource>& windows() const { return windows_; }
    const std::optional<CaptureSource::Kind>& selection() const { return selection_; }
    const std::optional<Rect>& area() const { return area_; }

    // Whether the user chooses in a dialog of the system's when the take begins.
    bool isMadeInDialog() const { return content_.chosenInDialog; }
    // Whether there is something to record in this mode.
    bool isComplete() const;
    // What to record; only of a complete choice. Fails for an area that cannot be recorded.
    [[nodiscard]] Result<ContentFilter> filter() const;
    // The display that what is chosen lies on, else the main one; `nullopt` when none is known.
    std::optional<ShareableDisplay> targetScreen() const;

  private:
    void selectOffered();

    Mode mode_ = Mode::display;
    ShareableContent content_;
    QList<CaptureSource> displays_;
    QList<CaptureSource> windows_;
    std::optional<CaptureSource::Kind> selection_;
    std::optional<Rect> area_;
};

// "Screen", "Window", "Area".
QString title(RecordingChoice::Mode mode);

} // namespace glintro
