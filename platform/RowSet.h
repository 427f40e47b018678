#pragma once

#include <vector>

#include "platform/ScreenStream.h"

namespace glintro {

// Rows of a picture, as ranges that ascend, hold at least one row each and do not touch.
class RowSet {
  public:
    RowSet() = default;
    // Empty when the range is.
    explicit RowSet(RowRange range) { add(range); }

    bool isEmpty() const { return ranges_.empty(); }
    const std::vector<RowRange>& ranges() const { return ranges_; }

    void add(RowRange range); // one without rows adds nothing
    void add(const RowSet& other);
    void addAll(const std::vector<RowRange>& ranges); // in any order
    void clear() { ranges_.clear(); }

    // The rows that are in both.
    RowSet intersected(const RowSet& other) const;
    // With every gap of fewer than `gap` rows filled.
    RowSet bridged(int gap) const;

    bool operator==(const RowSet&) const = default;

  private:
    std::vector<RowRange> ranges_;
};

} // namespace glintro
