#include "app/editor/EditHistory.h"

#include <utility>

namespace glintro {

void EditHistory::record(ProjectSettings before) {
    past_.push_back(std::move(before));
    dropOldest();
    future_.clear();
}

void EditHistory::beginDrag(ProjectSettings before) {
    past_.push_back(std::move(before));
    beforeDrag_ = std::exchange(future_, {});
}

void EditHistory::revertDrag() {
    past_.pop_back();
    future_ = std::exchange(beforeDrag_, {});
}

std::optional<ProjectSettings> EditHistory::undo(ProjectSettings current) {
    if (past_.empty()) return std::nullopt;
    future_.push_back(std::move(current));
    ProjectSettings last = std::move(past_.back());
    past_.pop_back();
    return last;
}

std::optional<ProjectSettings> EditHistory::redo(ProjectSettings current) {
    if (future_.empty()) return std::nullopt;
    past_.push_back(std::move(current));
    ProjectSettings next = std::move(future_.back());
    future_.pop_back();
    return next;
}

void EditHistory::insertBeforeCurrent(ProjectSettings settings) {
    past_.push_back(std::move(settings));
    dropOldest();
}

void EditHistory::dropOldest() {
    while (past_.size() > kLimit) past_.pop_front();
}

} // namespace glintro
