#pragma once

#include <QObject>
#include <QString>
#include <optional>

#include "app/editor/ReelEdits.h"
#include "core/model/Look.h"

namespace glintro {

// The Look of an open reel: which one it has, and one that is shown for a moment without being chosen. Main
// thread.
class LookChoice : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString current READ current NOTIFY currentChanged FINAL)
    Q_PROPERTY(QString hovered READ hovered NOTIFY hoveredChanged FINAL)

  public:
    // `edits` must outlive the choice.
    explicit LookChoice(ReelEdits& edits, QObject* parent = nullptr);

    QString current() const { return current_; } // empty for a style made by hand
    QString hovered() const;                     // empty for none

    // One undo step. A name that no Look has is ignored.
    Q_INVOKABLE void applyLook(const QString& name);

    // Shows a Look in the picture, without an undo step and without saving it; an empty name takes it back.
    Q_INVOKABLE void hover(const QString& name);
    // The settings as they are to be shown.
    ProjectSettings shown() const;

  signals:
    void currentChanged();
    void hoveredChanged();

  private:
    void updateCurrent();

    ReelEdits& edits_;
    QString current_;
    std::optional<Look> hovered_;
};

} // namespace glintro
