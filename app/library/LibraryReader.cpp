#include "app/library/LibraryReader.h"

#include <iterator>
#include <utility>

namespace glintro {
namespace {

namespace fs = std::filesystem;
using WatchClock = FolderWatch::Clock;

LibraryReading toReading(LibraryListing listing, const ReelPtrs& known) {
    LibraryReading reading;
    reading.reels = makeReels(std::exchange(listing.content.reels, {}), known);
    reading.listing = std::move(listing);
    return reading;
}

// The order in which they are watched, should there be too many.
std::vector<fs::path> foldersOf(const LibraryReading& reading) {
    const FolderContent& content = reading.listing.content;
    std::vector<fs::path> folders = content.others;
    for (const auto* more : {&content.damaged, &content.interrupted})
        folders.insert(folders.end(), more->begin(), more->end());
    for (const ReelPtr& reel : reading.reels) folders.push_back(reel->project.folder());
    return folders;
}

} // namespace

LibraryReader::LibraryReader(Scan scan, std::chrono::milliseconds timeout, QObject* parent)
    : QObject(parent),
      scan_(std::move(scan)),
      disk_(timeout),
      mainThread_(std::make_shared<MainThreadPost>(*this)) {
    connect(&disk_, &DiskQueue::hung, this, [this] {
        watch_.reset(); // its thread hangs as well
        emit hung();
    });
}

LibraryReader::~LibraryReader() {
    scanning_.request_stop();
    mainThread_->close();
}

void LibraryReader::scan(const fs::path& root, const ReelPtrs& known) {
    scanning_.request_stop();
    scanning_ = {};
    if (root != root_ || !watch_) {
        root_ = root;
        watch_ =
            std::make_unique<FolderWatch>(root, [this, mainThread = mainThread_](LibraryChanges changes) {
                (*mainThread)([this, changes = std::move(changes)] { emit changedOutside(changes); });
            });
    }
    const auto tell = [this, stop = scanning_.get_token()](const LibraryReading& reading, auto readAt) {
        if (stop.stop_requested()) return;
        if (reading.listing.isComplete) watch(reading, readAt);
        emit scanned(reading);
    };
    disk_.post([tell, root, known, scan = scan_, mainThread = mainThread_, progress = disk_.progress(),
                stop = scanning_.get_token()]() -> DiskQueue::Publish {
        const auto readAt = WatchClock::now();
        const auto first = [&](LibraryListing listing) {
            (*mainThread)(
                [tell, readAt, reading = toReading(std::move(listing), known)] { tell(reading, readAt); });
        };
        auto listing = scan(root, {.stop = stop, .first = first, .progressed = progress});
        if (stop.stop_requested()) return {};
        return [tell, readAt, reading = toReading(std::move(listing), known)] { tell(reading, readAt); };
    });
}

void LibraryReader::read(const std::vector<fs::path>& entries, const ReelPtrs& known) {
    struct Entry {
        fs::path path;
        LibraryReading reading;
    };
    disk_.post([this, root = root_, entries, known, progress = disk_.progress()] {
        const auto readAt = WatchClock::now();
        std::vector<Entry> read;
        for (const fs::path& entry : entries) {
            read.push_back({entry, toReading({.content = scanEntry(root, entry)}, known)});
            progress();
        }
        return [this, root, readAt, read = std::move(read)] {
            if (root != root_) return;
            for (const Entry& entry : read) {
                watch(entry.reading, readAt);
                emit entryRead(entry.path, entry.reading);
            }
        };
    });
}

void LibraryReader::watch(const LibraryReading& reading, WatchClock::time_point readAt) {
    if (watch_) watch_->add(foldersOf(reading), readAt);
}

} // namespace glintro
