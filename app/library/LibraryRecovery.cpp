#include "app/library/LibraryRecovery.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include <sys/stat.h>

#include "app/library/FileCopy.h"
#include "core/base/FileDescriptor.h"
#include "core/reel/Recovery.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

// Opening a long movie on a slow disk makes no progress that could be seen.
constexpr auto kHangs = std::chrono::minutes(5);

// The last change of any of a reel's files, in nanoseconds since 1970: of the change times, which no copying
// program sets.
std::int64_t lastChange(const fs::path& folder) {
    std::int64_t last = 0;
    for (const char* name : {"", "raw.mov", "project.json", "events.json", "camera.mov", "take.journal"}) {
        struct stat status {};
        if (::stat((folder / name).c_str(), &status) != 0) continue;
        last = std::max(last, std::int64_t{status.st_ctim.tv_sec} * 1'000'000'000 + status.st_ctim.tv_nsec);
    }
    return last;
}

bool isBeingWritten(const fs::path& movie) {
    const auto file = openRegularFile(movie);
    return file && writersOf(file->descriptor) == Writers::some;
}

bool hasRested(const fs::path& folder, std::int64_t changed, milliseconds rest) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto age = nanoseconds(now) - nanoseconds(changed);
    // A time in the future is a clock that was set: no reason to wait for it.
    if (age < rest && age > -std::chrono::hours(1)) return false;
    return !isBeingWritten(folder / "raw.mov") && !isBeingWritten(folder / "camera.mov");
}

} // namespace

struct LibraryRecovery::Attempt {
    fs::path folder;
    std::int64_t changed = 0;
    bool hasRested = true;
    std::optional<RecoveredReel::Outcome> outcome = {};
    std::optional<std::string> notice = {};
};

LibraryRecovery::LibraryRecovery(milliseconds rest, QObject* parent)
    : QObject(parent), rest_(rest), queue_(kHangs) {
    timer_.setSingleShot(true);
    connect(&timer_, &QTimer::timeout, this, [this] {
        const auto folders = std::exchange(resting_, {});
        emit rested({folders.begin(), folders.end()});
    });
    connect(&queue_, &DiskQueue::hung, this, [this] { underWay_.clear(); });
}

void LibraryRecovery::recover(const std::vector<fs::path>& folders, const ReelDefaults& defaults) {
    std::vector<Attempt> attempts;
    for (const fs::path& folder : folders) {
        const auto failed = failed_.find(folder);
        const std::int64_t triedAt = failed == failed_.end() ? -1 : failed->second;
        if (underWay_.insert(folder).second) attempts.push_back({folder, triedAt});
    }
    if (attempts.empty()) return;
    queue_.post([this, attempts = std::move(attempts), defaults, rest = rest_,
                 progress = queue_.progress()]() mutable {
        for (Attempt& attempt : attempts) {
            const std::int64_t triedAt = std::exchange(attempt.changed, lastChange(attempt.folder));
            if (triedAt == attempt.changed) continue;
            attempt.hasRested = hasRested(attempt.folder, attempt.changed, rest);
            if (!attempt.hasRested) continue;
            const auto reel = recoverReel(attempt.folder, defaults);
            if (reel) {
                attempt.outcome = reel->outcome;
                attempt.notice = reel->notice;
            } else {
                attempt.changed = lastChange(attempt.folder);
            }
            progress();
        }
        return [this, attempts = std::move(attempts)] { finished(attempts); };
    });
}

void LibraryRecovery::finished(const std::vector<Attempt>& attempts) {
    Outcome outcome;
    for (const Attempt& attempt : attempts) {
        underWay_.erase(attempt.folder);
        failed_.erase(attempt.folder);
        if (!attempt.hasRested) {
            resting_.insert(attempt.folder);
        } else if (!attempt.outcome) {
            failed_.emplace(attempt.folder, attempt.changed);
        } else {
            outcome.changed.push_back(attempt.folder);
            if (*attempt.outcome == RecoveredReel::Outcome::recovered) ++outcome.recovered;
            if (attempt.notice) outcome.notices.push_back(*attempt.notice);
        }
    }
    if (!resting_.empty() && !timer_.isActive()) timer_.start(rest_);
    if (!outcome.changed.empty()) emit recovered(outcome);
}

} // namespace glintro
