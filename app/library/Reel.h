#pragma once

#include <QString>
#include <filesystem>
#include <memory>
#include <vector>

#include "app/library/LibraryScan.h"
#include "core/reel/Project.h"

namespace glintro {

// A reel as lists hold it: never changed, replaced when it changes, shared by lists and threads.
struct Reel {
    Project project;
    bool isImported = false;
    QString folder; // its path, for views
    QString name;
    QString folded; // the name, for searching
};
using ReelPtr = std::shared_ptr<const Reel>;
using ReelPtrs = std::vector<ReelPtr>; // newest first: see isListedBefore()

// What views name a folder by.
QString folderText(const std::filesystem::path& folder);

ReelPtr makeReel(ListedReel reel);

// Rows for what was read, the old ones where nothing has changed. `before` is in a list's order, as the
// result is when `read` is. Any thread.
ReelPtrs makeReels(std::vector<ListedReel> read, const ReelPtrs& before);

// Whether two rows are of the same reel and show the same.
bool isSame(const Reel& a, const Reel& b);

} // namespace glintro
