#pragma once

#include <QObject>
#include <cstdint>
#include <optional>

#include "app/editor/Playback.h"
#include "app/editor/ReelEdits.h"
#include "app/editor/ShotList.h"

namespace glintro {

// Which shot is selected, and which one an operation acts on. The selection is a source time, so that it
// survives that the shots are derived again; while the row that it belongs to lives, it follows it. Main
// thread.
class ShotSelection : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool hasSelection READ hasSelection NOTIFY changed FINAL)
    Q_PROPERTY(int targetNumber READ targetNumber NOTIFY targetChanged FINAL)

  public:
    // All must outlive the selection.
    ShotSelection(const ReelEdits& edits, ShotList& list, Playback& playback, QObject* parent = nullptr);

    std::optional<Seconds> time() const { return time_; }
    // Whether there is a shot at the selected time.
    bool hasSelection() const { return identity_ != 0; }

    // The selected shot, else the one under the playhead; null where there is none. Belongs to the shots of
    // the edits.
    const Shot* target() const;
    int targetNumber() const { return targetNumber_; } // 0 for none

    // By its number, with the playhead moved just inside the shot; a number that is no shot's clears.
    Q_INVOKABLE void select(int number);
    Q_INVOKABLE void selectOnly(int number); // the playhead stays
    Q_INVOKABLE void clear();
    // The shot before (-1) or after (1) the target.
    Q_INVOKABLE void selectNeighbour(int offset);
    void selectTime(std::optional<Seconds> sourceTime);

    // Call it when the list has other shots.
    void follow();

  signals:
    void changed();
    void targetChanged();

  private:
    void updateTarget();

    const ReelEdits& edits_;
    ShotList& list_;
    Playback& playback_;
    std::optional<Seconds> time_;
    std::uint64_t identity_ = 0; // of the selected row; 0 for none
    int targetNumber_ = 0;
};

} // namespace glintro
