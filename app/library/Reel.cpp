#include "app/library/Reel.h"

#include <QFile>
#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "app/library/LibrarySearch.h"

namespace glintro {
namespace {

// Finds reels by their folders. For a few searches, looking through the list costs less than an index of it.
class FolderIndex {
  public:
    FolderIndex(const ReelPtrs& reels, std::size_t searches) : reels_(reels) {
        if (searches <= kFewSearches) return;
        index_.reserve(reels.size());
        for (const ReelPtr& reel : reels) index_.emplace(reel->project.folder().native(), &reel);
    }

    const ReelPtr* find(const std::filesystem::path& folder) const {
        if (!index_.empty()) {
            const auto found = index_.find(folder.native());
            return found == index_.end() ? nullptr : found->second;
        }
        const auto found = std::ranges::find_if(
            reels_, [&](const ReelPtr& reel) { return reel->project.folder().native() == folder.native(); });
        return found == reels_.end() ? nullptr : &*found;
    }

  private:
    static constexpr std::size_t kFewSearches = 8;

    const ReelPtrs& reels_;
    std::unordered_map<std::string_view, const ReelPtr*> index_;
};

} // namespace

QString folderText(const std::filesystem::path& folder) {
    return QFile::decodeName(folder.c_str());
}

ReelPtr makeReel(ListedReel reel) {
    const QString name = QString::fromStdString(reel.project.info.name);
    const QString folder = folderText(reel.project.folder());
    return std::make_shared<const Reel>(
        Reel{std::move(reel.project), reel.isImported, folder, name, foldedForSearch(name)});
}

ReelPtrs makeReels(std::vector<ListedReel> read, const ReelPtrs& before) {
    const FolderIndex known(before, read.size());
    ReelPtrs reels;
    reels.reserve(read.size());
    for (ListedReel& reel : read) {
        const ReelPtr* old = known.find(reel.project.folder());
        const bool isUnchanged = old != nullptr && (*old)->project.info == reel.project.info
                                 && (*old)->isImported == reel.isImported;
        reels.push_back(isUnchanged ? *old : makeReel(std::move(reel)));
    }
    return reels;
}

bool isSame(const Reel& a, const Reel& b) {
    return a.project == b.project && a.project.info == b.project.info && a.isImported == b.isImported;
}

} // namespace glintro
