#include "app/shell/ReelFinder.h"

#include <QString>
#include <algorithm>
#include <string>
#include <system_error>
#include <vector>

#include <fmt/format.h>

#include "app/library/LibraryScan.h"
#include "app/library/LibrarySearch.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostNamed = 12;

std::vector<fs::path> foldersWhere(const std::vector<ListedReel>& reels, const auto& isMeant) {
    std::vector<fs::path> folders;
    for (const ListedReel& reel : reels) {
        if (isMeant(reel.project.info.name)) folders.push_back(reel.project.folder());
    }
    return folders;
}

std::vector<fs::path> foldersOf(const std::string& name, const std::vector<ListedReel>& reels) {
    auto exact = foldersWhere(reels, [&](const std::string& each) { return each == name; });
    if (!exact.empty()) return exact;
    const QString folded = foldedForSearch(QString::fromStdString(name));
    return foldersWhere(reels, [&](const std::string& each) {
        return foldedForSearch(QString::fromStdString(each)) == folded;
    });
}

Failure ambiguity(const std::string& name, const std::vector<fs::path>& folders) {
    std::string text =
        fmt::format("{} reels are called “{}”. Give the folder of the one you mean: ", folders.size(), name);
    const std::size_t named = std::min(folders.size(), kMostNamed);
    for (std::size_t i = 0; i < named; ++i) text += (i == 0 ? "" : ", ") + folders[i].string();
    if (named < folders.size()) text += fmt::format(" and {} more", folders.size() - named);
    return {text + "."};
}

// A folder as “list” shows it: relative to the library. Empty when there is none.
fs::path folderInLibrary(const fs::path& named, const fs::path& root) {
    std::error_code ignored;
    const fs::path below = named.lexically_normal();
    if (below.is_absolute() || below.empty() || *below.begin() == "..") return {};
    return fs::is_directory(root / below, ignored) ? root / below : fs::path();
}

} // namespace

Result<fs::path> ReelFinder::find(const fs::path& named) const {
    std::error_code error;
    if (named.empty() || fs::status(named, error).type() != fs::file_type::not_found) return named;
    const fs::path inLibrary = folderInLibrary(named, library_.root());
    if (named.has_parent_path() && !inLibrary.empty()) return inLibrary;
    const std::vector<ListedReel> reels = scanLibrary(library_.root()).content.reels;
    if (named == "latest") {
        if (!reels.empty()) return reels.front().project.folder();
        return failure(fmt::format("There is no reel in “{}” yet.", library_.root().string()));
    }
    const std::vector<fs::path> folders = foldersOf(named.string(), reels);
    if (folders.size() > 1) return std::unexpected(ambiguity(named.string(), folders));
    if (!folders.empty()) return folders.front();
    return inLibrary.empty() ? named : inLibrary;
}

} // namespace glintro
