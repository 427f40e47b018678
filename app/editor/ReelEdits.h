#pragma once

#include <QObject>
#include <functional>
#include <optional>
#include <vector>

#include "app/editor/EditHistory.h"
#include "app/editor/SettingsChange.h"
#include "core/timeline/Shot.h"
#include "core/timeline/TimeMap.h"

namespace glintro {

// The settings of an open reel: every change of them goes through here and can be undone. Holds what is
// derived from them as well. Times are source seconds. Main thread.
//
// A drag of a shot's edge, and a gesture (a slider that is held), change the settings many times in one undo
// step. One at a time: whatever else changes the settings ends it first.
class ReelEdits : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool canUndo READ canUndo NOTIFY historyChanged FINAL)
    Q_PROPERTY(bool canRedo READ canRedo NOTIFY historyChanged FINAL)
    Q_PROPERTY(bool isDragging READ isDragging NOTIFY gestureChanged FINAL)

  public:
    using Change = std::function<void(ProjectSettings&)>;

    ReelEdits(ProjectSettings settings, Seconds duration, QObject* parent = nullptr);

    const ProjectSettings& settings() const { return settings_; }
    Seconds duration() const { return duration_; } // of the recording
    const std::vector<Shot>& shots() const { return shots_; }
    const TimeMap& map() const { return map_; }
    const EditHistory& history() const { return history_; }
    bool canUndo() const { return history_.canUndo(); }
    bool canRedo() const { return history_.canRedo(); }

    // Applies a change as one undo step; one that changes nothing leaves no trace. Whether it did.
    bool edit(const Change& change);
    Q_INVOKABLE void undo();
    Q_INVOKABLE void redo();

    // An undo step begins with the drag. dragEdge() moves the edge that was at `from` when the drag began as
    // far towards `to` as its neighbours let it, and returns where it is now. A drag that changed nothing in
    // the end leaves no step; cancelling restores also what could be redone.
    Q_INVOKABLE void beginEdgeDrag();
    Q_INVOKABLE double dragEdge(double from, double to);
    Q_INVOKABLE void endEdgeDrag();
    Q_INVOKABLE void cancelEdgeDrag();
    bool isDragging() const { return gesture_ == Gesture::edgeDrag; }
    std::optional<Seconds> draggedEdge() const { return isDragging() ? edge_ : std::nullopt; }

    // Between the two, each apply() replaces the one before it; all of them are one undo step, which is made
    // at the end. Outside a gesture apply() is edit().
    Q_INVOKABLE void beginGesture();
    Q_INVOKABLE void endGesture();
    Q_INVOKABLE void cancelGesture();
    void apply(const Change& change);
    // The shots that an apply() starts from.
    const std::vector<Shot>& shotsToEdit() const;

    // Settings that another program has written: as one undo step, or, where the current ones stay, as those
    // that undo leads to next.
    void adopt(const ProjectSettings& theirs);
    void keepForUndo(const ProjectSettings& theirs);
    // Starts again from other settings, with an empty history.
    void reset(const ProjectSettings& settings);

  signals:
    // The settings are others already, and what is derived from them is up to date.
    void changed(const SettingsChange& change, const ProjectSettings& old);
    void historyChanged();
    void gestureChanged();

  private:
    enum class Gesture { none, edgeDrag, held };

    void put(ProjectSettings settings);
    void begin(Gesture gesture);
    void finishGesture();

    const Seconds duration_;
    ProjectSettings settings_;
    std::vector<Shot> shots_;
    TimeMap map_;
    EditHistory history_;

    Gesture gesture_ = Gesture::none;
    ProjectSettings before_; // as it was when the gesture began, as the shots
    std::vector<Shot> shotsBefore_;
    std::optional<Seconds> edge_; // where the dragged edge is; absent before its first move
};

} // namespace glintro
