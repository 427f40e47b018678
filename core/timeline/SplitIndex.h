#pragma once

#include <vector>

#include "core/base/Geometry.h"

namespace glintro {

// Answers in O(log n) whether a split lies at a time; the storyboard asks it for every edge.
class SplitIndex {
  public:
    explicit SplitIndex(const std::vector<Seconds>& splits);
    bool contains(Seconds time) const; // as Storyboard::isSplit

  private:
    std::vector<Seconds> sorted_;
};

} // namespace glintro
