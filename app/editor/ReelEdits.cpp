#include "app/editor/ReelEdits.h"

#include <cmath>
#include <utility>

#include "core/timeline/Storyboard.h"

namespace glintro {

ReelEdits::ReelEdits(ProjectSettings settings, Seconds duration, QObject* parent)
    : QObject(parent),
      duration_(duration),
      settings_(std::move(settings)),
      shots_(Storyboard::shots(settings_, duration_)),
      map_(settings_, duration_) {}

void ReelEdits::put(ProjectSettings settings) {
    if (settings == settings_) return;
    const ProjectSettings old = std::exchange(settings_, std::move(settings));
    const SettingsChange change = SettingsChange::between(old, settings_);
    if (change.shots) shots_ = Storyboard::shots(settings_, duration_);
    if (change.structure) map_ = TimeMap(settings_, duration_);
    emit changed(change, old);
}

bool ReelEdits::edit(const Change& change) {
    finishGesture();
    ProjectSettings after = settings_;
    change(after);
    if (after == settings_) return false;
    history_.record(settings_);
    put(std::move(after));
    emit historyChanged();
    return true;
}

void ReelEdits::undo() {
    finishGesture();
    if (auto last = history_.undo(settings_)) {
        put(std::move(*last));
        emit historyChanged();
    }
}

void ReelEdits::redo() {
    finishGesture();
    if (auto next = history_.redo(settings_)) {
        put(std::move(*next));
        emit historyChanged();
    }
}

void ReelEdits::begin(Gesture gesture) {
    finishGesture();
    gesture_ = gesture;
    before_ = settings_;
    shotsBefore_ = shots_;
    edge_.reset();
    emit gestureChanged();
}

void ReelEdits::beginEdgeDrag() {
    begin(Gesture::edgeDrag);
    history_.beginDrag(settings_);
    emit historyChanged();
}

double ReelEdits::dragEdge(double from, double to) {
    if (gesture_ != Gesture::edgeDrag || !std::isfinite(to)) return edge_.value_or(from);
    ProjectSettings moved = settings_;
    edge_ = Storyboard::moveBoundary(moved, edge_.value_or(from), to, duration_);
    const Seconds edge = *edge_;
    put(std::move(moved));
    return edge;
}

void ReelEdits::endEdgeDrag() {
    if (gesture_ != Gesture::edgeDrag) return;
    gesture_ = Gesture::none;
    if (settings_ == before_) {
        history_.revertDrag();
        emit historyChanged();
    }
    emit gestureChanged();
}

void ReelEdits::cancelEdgeDrag() {
    if (gesture_ != Gesture::edgeDrag) return;
    gesture_ = Gesture::none;
    history_.revertDrag();
    put(std::move(before_));
    emit historyChanged();
    emit gestureChanged();
}

void ReelEdits::beginGesture() {
    begin(Gesture::held);
}

void ReelEdits::endGesture() {
    if (gesture_ != Gesture::held) return;
    gesture_ = Gesture::none;
    if (settings_ != before_) {
        history_.record(std::move(before_));
        emit historyChanged();
    }
    emit gestureChanged();
}

void ReelEdits::cancelGesture() {
    if (gesture_ != Gesture::held) return;
    gesture_ = Gesture::none;
    put(std::move(before_));
    emit gestureChanged();
}

void ReelEdits::finishGesture() {
    endEdgeDrag();
    endGesture();
}

void ReelEdits::apply(const Change& change) {
    if (gesture_ != Gesture::held) {
        edit(change);
        return;
    }
    ProjectSettings after = before_;
    change(after);
    put(std::move(after));
}

const std::vector<Shot>& ReelEdits::shotsToEdit() const {
    return gesture_ == Gesture::held ? shotsBefore_ : shots_;
}

void ReelEdits::adopt(const ProjectSettings& theirs) {
    edit([&](ProjectSettings& settings) { settings = theirs; });
}

void ReelEdits::keepForUndo(const ProjectSettings& theirs) {
    finishGesture();
    history_.insertBeforeCurrent(theirs);
    emit historyChanged();
}

void ReelEdits::reset(const ProjectSettings& settings) {
    finishGesture();
    history_ = {};
    put(settings);
    emit historyChanged();
}

} // namespace glintro
