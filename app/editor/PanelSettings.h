#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>

#include "app/editor/ReelEdits.h"

namespace glintro {

// The fields of the settings that the side panels show, by their stored names: numbers, true and false, and
// the stored texts of enumerations. Main thread.
class PanelSettings : public QObject {
    Q_OBJECT
    Q_PROPERTY(QVariantMap values READ values NOTIFY valuesChanged FINAL)
    Q_PROPERTY(QVariantMap ranges READ ranges CONSTANT FINAL)

  public:
    // `edits` must outlive this.
    explicit PanelSettings(ReelEdits& edits, QObject* parent = nullptr);

    QVariantMap values() const { return values_; }
    // For each number {"least", "most", "standard"}: its limits, and what a new reel has.
    static QVariantMap ranges();

    // One undo step, or in a gesture a part of its step. Numbers are kept within their ranges; a name that is
    // no field's and a value of another type or meaning is ignored.
    Q_INVOKABLE void set(const QString& key, const QVariant& value);
    // Padding, corners and shadow as a new reel has them.
    Q_INVOKABLE void resetFrame();

  signals:
    void valuesChanged();

  private:
    void update();

    ReelEdits& edits_;
    QVariantMap values_;
};

} // namespace glintro
