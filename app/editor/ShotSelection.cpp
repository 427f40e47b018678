#include "app/editor/ShotSelection.h"

#include <algorithm>
#include <utility>

#include "core/timeline/Storyboard.h"

namespace glintro {
namespace {

// How far inside a selected shot the playhead is put: its first frame may still show the one before.
Seconds justInside(const Shot& shot) {
    return shot.start + std::min(0.25 * (shot.end - shot.start), 0.05);
}

} // namespace

ShotSelection::ShotSelection(const ReelEdits& edits, ShotList& list, Playback& playback, QObject* parent)
    : QObject(parent), edits_(edits), list_(list), playback_(playback) {
    connect(playback.clock(), &PlaybackClock::timeChanged, this, &ShotSelection::updateTarget);
    updateTarget();
}

const Shot* ShotSelection::target() const {
    const Shot* selected = time_ ? Storyboard::shot(*time_, edits_.shots()) : nullptr;
    return selected ? selected : Storyboard::shot(playback_.clock()->time(), edits_.shots());
}

void ShotSelection::selectOnly(int number) {
    const auto& shots = edits_.shots();
    const bool isShot = number >= 1 && number <= static_cast<int>(shots.size());
    selectTime(isShot ? std::optional(shots[static_cast<std::size_t>(number) - 1].start) : std::nullopt);
}

void ShotSelection::select(int number) {
    selectOnly(number);
    const Shot* selected = time_ ? Storyboard::shot(*time_, edits_.shots()) : nullptr;
    if (selected) playback_.seek(justInside(*selected));
}

void ShotSelection::clear() {
    selectTime(std::nullopt);
}

void ShotSelection::selectNeighbour(int offset) {
    const int number = targetNumber_ + offset;
    if (targetNumber_ != 0 && number >= 1 && number <= list_.count()) select(number);
}

void ShotSelection::selectTime(std::optional<Seconds> sourceTime) {
    time_ = sourceTime;
    const Shot* shot = time_ ? Storyboard::shot(*time_, edits_.shots()) : nullptr;
    identity_ = shot ? list_.identityOf(shot->number) : 0;
    list_.setSelected(identity_);
    emit changed();
    updateTarget();
}

void ShotSelection::follow() {
    const ShotRow* row = identity_ != 0 ? list_.row(identity_) : nullptr;
    const Shot* atTime = time_ ? Storyboard::shot(*time_, edits_.shots()) : nullptr;
    if (row && (!atTime || atTime->number != row->shot.number)) time_ = row->shot.start;
    selectTime(time_);
}

void ShotSelection::updateTarget() {
    const Shot* shot = target();
    const int number = shot ? shot->number : 0;
    if (std::exchange(targetNumber_, number) != number) emit targetChanged();
}

} // namespace glintro
