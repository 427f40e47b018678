#pragma once

#include <filesystem>
#include <functional>
#include <set>
#include <string>

#include "app/library/Reel.h"

namespace glintro {

// All reels of a library, newest first, each folder once. Main thread, as whoever owns it.
class ReelShelf {
  public:
    const ReelPtrs& all() const { return all_; }
    // Null when there is none.
    ReelPtr find(const std::filesystem::path& folder) const;

    // Those of one entry of the library: of its folder, and of those below it.
    ReelPtrs allBelow(const std::filesystem::path& entry) const;

    // What a scan has read, in a list's order. Of the entries in `except`, and what is directly below them,
    // the shelf knows better.
    using Entries = std::set<std::string, std::less<>>;
    void replaceAll(ReelPtrs reels, const Entries& except);
    // Adds those that the shelf does not have. `reels` are in a list's order.
    void addMissing(const ReelPtrs& reels);
    // What was read of one entry of the library.
    void replaceEntry(const std::filesystem::path& entry, const ReelPtrs& reels);
    void put(const ReelPtr& reel) { replaceEntry(reel->project.folder(), {reel}); }
    void remove(const std::filesystem::path& folder) { replaceEntry(folder, {}); }

  private:
    ReelPtrs all_;
};

} // namespace glintro
