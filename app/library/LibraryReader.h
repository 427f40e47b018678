#pragma once

#include <QObject>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <stop_token>
#include <vector>

#include "app/base/MainThreadPost.h"
#include "app/library/DiskQueue.h"
#include "app/library/FolderWatch.h"
#include "app/library/LibraryScan.h"
#include "app/library/Reel.h"

namespace glintro {

// What was read of a library, ready for its lists. The listing's reels have become `reels`.
struct LibraryReading {
    LibraryListing listing;
    ReelPtrs reels;
};

// The same of one entry of the library.
struct EntryReading {
    std::filesystem::path entry;
    LibraryReading reading;
};

// The library's side of the disk: reads it in the background, watches it, and says what it holds. Other work
// on it goes through the same queue, so that what is read is never older than what was written. Main thread.
class LibraryReader : public QObject {
    Q_OBJECT

  public:
    using Scan = std::function<LibraryListing(const std::filesystem::path& root, const ScanOptions& options)>;

    LibraryReader(Scan scan, std::chrono::milliseconds timeout, QObject* parent = nullptr);
    ~LibraryReader() override;

    // Reads all. A scan that runs is stopped, and says nothing any more. `known` are reused where nothing has
    // changed.
    void scan(const std::filesystem::path& root, const ReelPtrs& known);
    // Reads entries of the root and of its days.
    void read(const std::vector<std::filesystem::path>& entries, const ReelPtrs& known);

    // The scan that runs says nothing any more.
    void stopScan() { scanning_.request_stop(); }

    DiskQueue& disk() { return disk_; }
    // Whether changes from outside are told by themselves.
    bool seesChanges() const { return watch_ && watch_->isComplete(); }

  signals:
    // First, of a long scan, the first reels only, then all.
    void scanned(const glintro::LibraryReading& reading);
    void entriesRead(const std::vector<glintro::EntryReading>& readings);
    void changedOutside(const glintro::LibraryChanges& changes);
    // The disk does not answer: what was under way is left behind.
    void hung();

  private:
    void watch(const LibraryReading& reading, FolderWatch::Clock::time_point readAt);

    const Scan scan_;
    DiskQueue disk_;
    std::filesystem::path root_;
    std::stop_source scanning_;
    std::unique_ptr<FolderWatch> watch_;
    std::shared_ptr<MainThreadPost> mainThread_;
};

} // namespace glintro
