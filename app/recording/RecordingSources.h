#pragma once

#include <QList>
#include <QObject>
#include <QVariant>
#include <optional>

#include "app/recording/RecordingChoice.h"

namespace glintro {

// What can be recorded and what of it is chosen, as a window binds to it. Main thread. The controller changes
// it, through its verbs.
class RecordingSources : public QObject {
    Q_OBJECT
    Q_PROPERTY(RecordingChoice::Mode mode READ mode NOTIFY choiceChanged FINAL)
    Q_PROPERTY(QList<CaptureSource> displays READ displays NOTIFY offerChanged FINAL)
    Q_PROPERTY(QList<CaptureSource> windows READ windows NOTIFY offerChanged FINAL)
    Q_PROPERTY(QVariant selection READ selectionValue NOTIFY choiceChanged FINAL)
    Q_PROPERTY(QVariant area READ areaValue NOTIFY choiceChanged FINAL)
    Q_PROPERTY(bool isChosenInDialog READ isChosenInDialog NOTIFY offerChanged FINAL)

  public:
    using Mode = RecordingChoice::Mode;
    using QObject::QObject;

    void offer(ShareableContent content);
    void setMode(Mode mode);
    void select(const CaptureSource::Kind& kind);
    void setArea(const Rect& area);

    const RecordingChoice& choice() const { return choice_; }
    Mode mode() const { return choice_.mode(); }
    const QList<CaptureSource>& displays() const { return choice_.displays(); }
    const QList<CaptureSource>& windows() const { return choice_.windows(); }
    const std::optional<CaptureSource::Kind>& selection() const { return choice_.selection(); }
    const std::optional<Rect>& area() const { return choice_.area(); } // points of the desktop
    // Whether the user chooses in a dialog of the system's when a take is prepared.
    bool isChosenInDialog() const { return choice_.isMadeInDialog(); }

  signals:
    void offerChanged();
    void choiceChanged();

  private:
    QVariant selectionValue() const;
    QVariant areaValue() const;

    RecordingChoice choice_;
};

} // namespace glintro
