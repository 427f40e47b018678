#include "app/library/ReelShelf.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace glintro {
namespace {

namespace fs = std::filesystem;

bool comesFirst(const ReelPtr& a, const ReelPtr& b) {
    return isListedBefore(a->project, b->project);
}

bool isAtOrBelow(const fs::path& folder, const fs::path& entry) {
    const auto& path = folder.native();
    const auto& start = entry.native();
    return path.starts_with(start) && (path.size() == start.size() || path[start.size()] == '/');
}

ReelPtrs merged(const ReelPtrs& a, const ReelPtrs& b) {
    ReelPtrs all;
    all.reserve(a.size() + b.size());
    std::ranges::merge(a, b, std::back_inserter(all), comesFirst);
    return all;
}

} // namespace

ReelPtr ReelShelf::find(const fs::path& folder) const {
    const auto found = std::ranges::find_if(
        all_, [&](const ReelPtr& reel) { return reel->project.folder().native() == folder.native(); });
    return found == all_.end() ? nullptr : *found;
}

ReelPtrs ReelShelf::allBelow(const fs::path& entry) const {
    ReelPtrs reels;
    std::ranges::copy_if(all_, std::back_inserter(reels),
                         [&](const ReelPtr& reel) { return isAtOrBelow(reel->project.folder(), entry); });
    return reels;
}

void ReelShelf::replaceAll(ReelPtrs reels, const Entries& except) {
    const auto isExcepted = [&](const ReelPtr& reel) {
        const std::string_view folder = reel->project.folder().native();
        return except.contains(folder) || except.contains(folder.substr(0, folder.rfind('/')));
    };
    if (except.empty()) {
        all_ = std::move(reels);
        return;
    }
    ReelPtrs kept;
    std::ranges::copy_if(all_, std::back_inserter(kept), isExcepted);
    std::erase_if(reels, isExcepted);
    all_ = merged(kept, reels);
}

void ReelShelf::addMissing(const ReelPtrs& reels) {
    std::unordered_set<std::string_view> known;
    for (const ReelPtr& reel : all_) known.insert(reel->project.folder().native());
    ReelPtrs missing;
    std::ranges::copy_if(reels, std::back_inserter(missing), [&](const ReelPtr& reel) {
        return !known.contains(reel->project.folder().native());
    });
    all_ = merged(all_, missing);
}

void ReelShelf::replaceEntry(const fs::path& entry, const ReelPtrs& reels) {
    std::erase_if(all_, [&](const ReelPtr& reel) { return isAtOrBelow(reel->project.folder(), entry); });
    ReelPtrs sorted = reels;
    std::ranges::sort(sorted, comesFirst);
    all_ = merged(all_, sorted);
}

} // namespace glintro
