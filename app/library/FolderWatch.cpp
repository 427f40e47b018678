#include "app/library/FolderWatch.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include "app/library/ReelImport.h"
#include "core/base/FileDescriptor.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using Steady = std::chrono::steady_clock;

constexpr std::uint32_t kEvents = IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_CLOSE_WRITE
                                  | IN_MOVE_SELF | IN_DELETE_SELF | IN_ONLYDIR | IN_EXCL_UNLINK;
constexpr std::uint32_t kLinked = IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE;
constexpr std::size_t kEventBytes = 64U << 10;

// Clocks of file systems are coarse, and those of servers may be off a little.
constexpr auto kClockSlack = std::chrono::seconds(1);

// What says what a folder is. Hidden files that replace these are written first.
bool isReelFile(std::string_view name) {
    constexpr std::array<std::string_view, 5> kNames = {"raw.mov", "project.json", "take.journal",
                                                        "events.json", "camera.mov"};
    return std::ranges::find(kNames, name) != kNames.end();
}

std::optional<FolderWatch::Clock::time_point> changeTime(const fs::path& folder) {
    struct stat status {};
    if (::stat(folder.c_str(), &status) != 0) return std::nullopt;
    const auto time =
        std::chrono::seconds(status.st_mtim.tv_sec) + std::chrono::nanoseconds(status.st_mtim.tv_nsec);
    return FolderWatch::Clock::time_point(time);
}

} // namespace

struct FolderWatch::State {
    struct Addition {
        std::vector<fs::path> folders;
        Clock::time_point readAt;
    };

    FileDescriptor events{::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)};
    FileDescriptor wake{::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)};
    std::atomic<bool> isComplete = true;
    std::atomic<bool> isRootWatched = false;
    std::mutex mutex;
    std::deque<Addition> additions; // guarded by mutex, as what follows
    Report report;                  // empty once closed

    void wakeUp() {
        const std::uint64_t one = 1;
        if (::write(wake.value(), &one, sizeof one) < 0) return; // full: the thread wakes up anyway
    }
};

// The thread's side.
class FolderWatch::Watching {
  public:
    Watching(std::shared_ptr<State> state, const fs::path& root) : state_(std::move(state)), root_(root) {}
    void run();

  private:
    int timeout() const;
    void addAll();
    void add(const fs::path& folder, Clock::time_point readAt);
    bool watch(const fs::path& folder);
    void forget(int descriptor);
    void readEvents();
    void handle(const inotify_event& event);
    void handleInside(const fs::path& folder, std::string_view name, std::uint32_t mask);
    void changed(const fs::path& entry);
    void everythingChanged();
    void touch();
    bool reportDue();

    const std::shared_ptr<State> state_;
    const fs::path root_;
    std::unordered_map<int, fs::path> folders_;
    std::unordered_map<std::string, int> descriptors_;

    std::set<fs::path> entries_; // changed and not reported
    bool isEverything_ = false;
    std::optional<Steady::time_point> firstChange_;
    Steady::time_point lastChange_;
};

void FolderWatch::Watching::run() {
    watch(root_.parent_path());
    state_->isRootWatched = watch(root_);
    while (true) {
        std::array<pollfd, 2> files = {
            {{state_->events.value(), POLLIN, 0}, {state_->wake.value(), POLLIN, 0}}};
        if (::poll(files.data(), files.size(), timeout()) < 0 && errno != EINTR) return;
        std::uint64_t count = 0;
        if (::read(state_->wake.value(), &count, sizeof count) > 0) addAll();
        readEvents();
        if (!reportDue()) return;
    }
}

// Until the next report is due.
int FolderWatch::Watching::timeout() const {
    if (!firstChange_) return -1;
    const auto due = std::min(lastChange_ + kQuiet, *firstChange_ + kLatest);
    return static_cast<int>(
        std::max(std::chrono::ceil<milliseconds>(due - Steady::now()), milliseconds(0)).count());
}

void FolderWatch::Watching::addAll() {
    std::deque<State::Addition> additions;
    {
        const std::scoped_lock lock(state_->mutex);
        additions.swap(state_->additions);
    }
    state_->isRootWatched = watch(root_);
    for (const auto& addition : additions)
        for (const fs::path& folder : addition.folders) add(folder, addition.readAt);
}

// What changed between the reading of a folder and now was not seen.
void FolderWatch::Watching::add(const fs::path& folder, Clock::time_point readAt) {
    if (descriptors_.contains(folder.native()) || !watch(folder)) return;
    const auto time = changeTime(folder);
    if (time && *time > readAt - kClockSlack) changed(folder);
}

bool FolderWatch::Watching::watch(const fs::path& folder) {
    const int descriptor = ::inotify_add_watch(state_->events.value(), folder.c_str(), kEvents);
    if (descriptor < 0) {
        if (errno == ENOSPC || errno == ENOMEM || errno == EBADF) state_->isComplete = false;
        return false;
    }
    forget(descriptor); // the folder was watched in another place
    folders_[descriptor] = folder;
    descriptors_[folder.native()] = descriptor;
    return true;
}

void FolderWatch::Watching::forget(int descriptor) {
    const auto known = folders_.find(descriptor);
    if (known == folders_.end()) return;
    descriptors_.erase(known->second.native());
    folders_.erase(known);
}

void FolderWatch::Watching::readEvents() {
    alignas(inotify_event) std::array<char, kEventBytes> buffer;
    while (true) {
        const ssize_t size = ::read(state_->events.value(), buffer.data(), buffer.size());
        if (size <= 0) return;
        for (ssize_t at = 0; at < size;) {
            const auto& event = *reinterpret_cast<const inotify_event*>(buffer.data() + at);
            handle(event);
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
    }
}

void FolderWatch::Watching::handle(const inotify_event& event) {
    if (event.mask & IN_Q_OVERFLOW) return everythingChanged();
    const auto known = folders_.find(event.wd);
    if (known == folders_.end()) return;
    const fs::path folder = known->second;
    if (event.mask & (IN_IGNORED | IN_MOVE_SELF | IN_DELETE_SELF | IN_UNMOUNT)) {
        if (folder == root_) everythingChanged();
        if (!(event.mask & IN_IGNORED)) ::inotify_rm_watch(state_->events.value(), event.wd);
        return forget(event.wd);
    }
    handleInside(folder, event.len > 0 ? std::string_view(event.name) : std::string_view(), event.mask);
}

void FolderWatch::Watching::handleInside(const fs::path& folder, std::string_view name, std::uint32_t mask) {
    if (isImportFolder(fs::path(name))) return;
    if (folder == root_.parent_path() && folder != root_) {
        if (name == root_.filename().native() && (mask & kLinked)) everythingChanged();
        return;
    }
    if (folder == root_) {
        if (mask & kLinked) changed(root_ / name);
        return;
    }
    if (isReelFile(name)) return changed(folder);
    // In a day folder: a reel came or went. Other files in a reel say nothing.
    if (folder.parent_path() == root_ && (mask & kLinked) && !name.ends_with(".json")
        && !name.ends_with(".mov"))
        changed(folder / name);
}

void FolderWatch::Watching::changed(const fs::path& entry) {
    entries_.insert(entry);
    touch();
}

void FolderWatch::Watching::everythingChanged() {
    isEverything_ = true;
    touch();
}

void FolderWatch::Watching::touch() {
    lastChange_ = Steady::now();
    if (!firstChange_) firstChange_ = lastChange_;
}

// False when nobody listens any more.
bool FolderWatch::Watching::reportDue() {
    const std::scoped_lock lock(state_->mutex);
    if (!state_->report) return false;
    if (!firstChange_ || timeout() > 0) return true;
    LibraryChanges changes{.isEverything = isEverything_};
    for (const fs::path& entry : entries_)
        if (!entries_.contains(entry.parent_path())) changes.entries.push_back(entry);
    entries_.clear();
    isEverything_ = false;
    firstChange_.reset();
    state_->report(std::move(changes));
    return true;
}

FolderWatch::FolderWatch(const fs::path& root, Report report) : state_(std::make_shared<State>()) {
    state_->report = std::move(report);
    if (!state_->events.isOpen() || !state_->wake.isOpen()) {
        state_->isComplete = false;
        return;
    }
    std::thread([state = state_, root] { Watching(state, root).run(); }).detach();
}

FolderWatch::~FolderWatch() {
    const std::scoped_lock lock(state_->mutex);
    state_->report = nullptr;
    state_->wakeUp();
}

void FolderWatch::add(std::vector<fs::path> folders, Clock::time_point readAt) {
    const std::scoped_lock lock(state_->mutex);
    state_->additions.push_back({std::move(folders), readAt});
    state_->wakeUp();
}

bool FolderWatch::isComplete() const {
    return state_->isComplete && state_->isRootWatched;
}

} // namespace glintro
