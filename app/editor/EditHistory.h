#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <vector>

#include "core/model/ProjectSettings.h"

namespace glintro {

// The settings that undo and redo lead to. A value; it does not hold the current settings, which its owner
// hands in and gets back.
//
//   oldest ... last | current | next ... newest undone
//       undo() ◄────┘         └────► redo()
class EditHistory {
  public:
    static constexpr std::size_t kLimit = 100; // steps that can be undone after an edit

    bool canUndo() const { return !past_.empty(); }
    bool canRedo() const { return !future_.empty(); }
    std::size_t undoCount() const { return past_.size(); }
    std::size_t redoCount() const { return future_.size(); }

    // A step from `before` was done: the oldest ones beyond the limit are dropped, and nothing can be redone.
    void record(ProjectSettings before);

    // The same for a drag that begins. The limit is left to the next record(), so that revertDrag() can
    // restore what was there.
    void beginDrag(ProjectSettings before);
    // Forgets the drag that began last, also that it emptied what could be redone. Call it only while nothing
    // else was recorded, undone or redone since.
    void revertDrag();

    // The settings to go on with; `nullopt` when there are none.
    std::optional<ProjectSettings> undo(ProjectSettings current);
    std::optional<ProjectSettings> redo(ProjectSettings current);

    // Settings that undo leads to next although they were never current: another program's. What can be
    // redone stays.
    void insertBeforeCurrent(ProjectSettings settings);

  private:
    void dropOldest();

    std::deque<ProjectSettings> past_;        // oldest first
    std::vector<ProjectSettings> future_;     // the one to be redone next comes last
    std::vector<ProjectSettings> beforeDrag_; // future_ as it was when the last drag began
};

} // namespace glintro
