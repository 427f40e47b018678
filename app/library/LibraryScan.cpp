#include "app/library/LibraryScan.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <iterator>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "app/library/ReelImport.h"
#include "core/model/RecordingEvents.h"
#include "core/reel/TakeJournal.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using Access = LibraryListing::Access;
using Status = Project::LoadResult::Status;

constexpr std::size_t kFirstReels = 64;          // more than a window shows at once
constexpr std::uintmax_t kLongestNoEvents = 256; // bytes; the empty events take 50
constexpr std::size_t kFoldersAtOnce = 16;       // that a thread fetches

struct Candidate {
    fs::path path;
    bool isThroughLink = false;
};

bool isImported(const Project& project) {
    std::error_code error;
    const auto size = fs::file_size(project.eventsURL(), error);
    if (error || size > kLongestNoEvents) return false;
    const auto events = readEvents(project.eventsURL());
    return events && *events == RecordingEvents();
}

bool isThere(const fs::path& file) {
    std::error_code ignored;
    return fs::exists(file, ignored);
}

bool isLink(const fs::path& file) {
    std::error_code ignored;
    return fs::is_symlink(fs::symlink_status(file, ignored));
}

// Whether the real place of a folder is one that a scan of the root reaches without links.
bool standsInLibrary(const fs::path& root, const fs::path& folder) {
    std::error_code error;
    const fs::path real = fs::canonical(folder, error);
    if (error) return false;
    const fs::path below = real.lexically_relative(fs::canonical(root, error));
    if (error || below.empty() || *below.begin() == "..") return false;
    return std::distance(below.begin(), below.end()) <= 2;
}

// Later names first. A folder that cannot be listed holds nothing; the error then says why.
std::vector<Candidate> foldersIn(const Candidate& folder, std::error_code& error) {
    std::vector<Candidate> found;
    fs::directory_iterator entry(folder.path, error);
    for (std::error_code next; !error && entry != fs::directory_iterator(); entry.increment(next)) {
        if (next) break;
        std::error_code ignored;
        if (entry->is_regular_file(ignored) && !entry->is_symlink(ignored)) continue;
        found.push_back({entry->path(), folder.isThroughLink || entry->is_symlink(ignored)});
    }
    std::ranges::sort(
        found, [](const Candidate& a, const Candidate& b) { return a.path.native() > b.path.native(); });
    return found;
}

void append(FolderContent& all, FolderContent&& more) {
    const auto move = [](auto& to, auto& from) {
        to.insert(to.end(), std::move_iterator(from.begin()), std::move_iterator(from.end()));
    };
    move(all.reels, more.reels);
    move(all.damaged, more.damaged);
    move(all.interrupted, more.interrupted);
    move(all.abandonedImports, more.abandonedImports);
    move(all.others, more.others);
}

// By pointers: a reel's record is large to move.
void sortReels(std::vector<ListedReel>& reels) {
    std::vector<ListedReel*> order;
    order.reserve(reels.size());
    for (ListedReel& reel : reels) order.push_back(&reel);
    std::ranges::sort(order,
                      [](const auto* a, const auto* b) { return isListedBefore(a->project, b->project); });
    std::vector<ListedReel> sorted;
    sorted.reserve(reels.size());
    for (ListedReel* reel : order) sorted.push_back(std::move(*reel));
    reels = std::move(sorted);
}

// One scan of one root.
class Scan {
  public:
    Scan(const fs::path& root, const ScanOptions& options) : root_(root), options_(options) {}

    LibraryListing run();
    FolderContent entry(const fs::path& entry) const;

  private:
    bool inspect(const Candidate& folder, FolderContent& into) const;
    std::vector<Candidate> inspectOrList(const Candidate& folder, FolderContent& into) const;
    void scanFirst(LibraryListing& listing);
    template <class Work>
    FolderContent inParallel(const std::vector<Candidate>& folders, Work work) const;

    const fs::path& root_;
    const ScanOptions& options_;
    std::vector<Candidate> entries_; // of the root, not inspected yet
    std::vector<Candidate> inDays_;  // likewise
};

// Whether the folder is a reel, however damaged, and not one that holds others.
bool Scan::inspect(const Candidate& folder, FolderContent& into) const {
    if (folder.isThroughLink && standsInLibrary(root_, folder.path)) return true;
    if (isImportFolder(folder.path)) {
        if (isAbandonedImport(folder.path)) into.abandonedImports.push_back(folder.path);
        return true;
    }
    auto found = Project::inspect(folder.path);
    const bool hasJournal = isThere(TakeJournal::fileIn(folder.path));
    const bool isRunning = hasJournal && TakeJournal::isRunning(folder.path);
    if (hasJournal && !isRunning) into.interrupted.push_back(folder.path);
    if (!hasJournal && found.status == Status::damaged) into.damaged.push_back(folder.path);
    if (found.project) {
        const bool imported = isImported(*found.project);
        into.reels.push_back({std::move(*found.project), imported});
    } else if (isRunning) {
        into.others.push_back(folder.path);
    }
    return hasJournal || found.status != Status::none;
}

// What stands in the folder, when it is no reel itself.
std::vector<Candidate> Scan::inspectOrList(const Candidate& folder, FolderContent& into) const {
    if (inspect(folder, into)) return {};
    std::error_code error;
    auto folders = foldersIn(folder, error);
    if (error != std::errc::not_a_directory && error != std::errc::no_such_file_or_directory
        && error != std::errc::too_many_symbolic_link_levels)
        into.others.push_back(folder.path);
    return folders;
}

// Each thread collects on its own; the order does not matter, for all is sorted later.
template <class Work>
FolderContent Scan::inParallel(const std::vector<Candidate>& folders, Work work) const {
    const std::size_t count = static_cast<std::size_t>(std::max(options_.threads, 1));
    std::atomic<std::size_t> next = 0;
    std::vector<FolderContent> parts(count);
    const auto run = [&](FolderContent& part) {
        while (!options_.stop.stop_requested()) {
            const std::size_t begin = next.fetch_add(kFoldersAtOnce);
            const std::size_t end = std::min(begin + kFoldersAtOnce, folders.size());
            if (begin >= end) return;
            for (std::size_t i = begin; i < end; ++i) work(folders[i], part);
            if (options_.progressed) options_.progressed();
        }
    };
    {
        std::vector<std::jthread> threads;
        for (std::size_t i = 1; i < count; ++i) threads.emplace_back([&run, &part = parts[i]] { run(part); });
        run(parts.front());
    }
    FolderContent all;
    for (FolderContent& part : parts) append(all, std::move(part));
    return all;
}

// By their names the latest reels come first; what is left over stays in entries_ and inDays_.
void Scan::scanFirst(LibraryListing& listing) {
    FolderContent& content = listing.content;
    std::size_t done = 0;
    const auto isEnough = [&] {
        return content.reels.size() >= kFirstReels || options_.stop.stop_requested();
    };
    while (done < entries_.size() && inDays_.empty() && !isEnough()) {
        const auto folders = inspectOrList(entries_[done++], content);
        auto folder = folders.begin();
        for (; folder != folders.end() && !isEnough(); ++folder)
            if (!inspect(*folder, content)) content.others.push_back(folder->path);
        inDays_.assign(folder, folders.end());
        if (options_.progressed) options_.progressed();
    }
    entries_.erase(entries_.begin(), entries_.begin() + static_cast<std::ptrdiff_t>(done));
}

LibraryListing Scan::run() {
    LibraryListing listing;
    std::error_code error;
    entries_ = foldersIn({root_, false}, error);
    if (error) {
        const bool missing = error == std::errc::no_such_file_or_directory;
        listing.access = missing ? Access::missing : Access::unreadable;
        listing.nativeCode = missing ? 0 : error.value();
        return listing;
    }
    scanFirst(listing);
    if (options_.first && !(entries_.empty() && inDays_.empty()) && !options_.stop.stop_requested()) {
        LibraryListing first{.content = listing.content, .isComplete = false};
        sortReels(first.content.reels);
        options_.first(std::move(first));
    }
    std::mutex mutex;
    append(listing.content, inParallel(entries_, [&](const Candidate& folder, FolderContent& into) {
               auto folders = inspectOrList(folder, into);
               const std::scoped_lock lock(mutex);
               inDays_.insert(inDays_.end(), std::move_iterator(folders.begin()),
                              std::move_iterator(folders.end()));
           }));
    append(listing.content, inParallel(inDays_, [&](const Candidate& folder, FolderContent& into) {
               if (!inspect(folder, into)) into.others.push_back(folder.path);
           }));
    sortReels(listing.content.reels);
    listing.isComplete = !options_.stop.stop_requested();
    return listing;
}

FolderContent Scan::entry(const fs::path& entry) const {
    FolderContent content;
    const fs::path parent = entry.parent_path();
    const bool isInRoot = parent == root_;
    const Candidate folder{entry, isLink(entry) || (!isInRoot && isLink(parent))};
    if (!isThere(entry)) return content;
    if (!isInRoot) {
        std::error_code ignored;
        if (!inspect(folder, content) && fs::is_directory(entry, ignored)) content.others.push_back(entry);
        return content;
    }
    for (const Candidate& child : inspectOrList(folder, content))
        if (!inspect(child, content)) content.others.push_back(child.path);
    sortReels(content.reels);
    return content;
}

} // namespace

bool isListedBefore(const Project& a, const Project& b) {
    if (a.info.created != b.info.created) return a.info.created > b.info.created;
    return a.folder().native() > b.folder().native();
}

LibraryListing scanLibrary(const fs::path& root, const ScanOptions& options) {
    return Scan(root, options).run();
}

FolderContent scanEntry(const fs::path& root, const fs::path& entry) {
    static const ScanOptions alone;
    return Scan(root, alone).entry(entry);
}

} // namespace glintro
