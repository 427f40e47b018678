#pragma once

#include <QObject>
#include <QTimer>
#include <chrono>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "app/library/DiskQueue.h"
#include "core/reel/Finishing.h"

namespace glintro {

// Rebuilds damaged reels and completes interrupted takes in the background, one at a time. A folder that
// somebody may still be writing, as when a reel is being copied in, is left alone until it has rested. One
// that cannot be rebuilt stays as it is, and is tried again when its files have changed or when asked. Main
// thread.
class LibraryRecovery : public QObject {
    Q_OBJECT

  public:
    struct Outcome {
        int recovered = 0;
        std::vector<std::filesystem::path> changed = {}; // folders to be read again
        std::vector<std::string> notices = {};           // sentences on what is not as it should be
    };
    // How long nobody may have changed a folder's files.
    static constexpr std::chrono::milliseconds kRest{2000};

    explicit LibraryRecovery(std::chrono::milliseconds rest = kRest, QObject* parent = nullptr);

    // Folders that are under way or rest are ignored.
    void recover(const std::vector<std::filesystem::path>& folders, const ReelDefaults& defaults);
    // Those that could not be rebuilt are tried again.
    void forgetFailures() { failed_.clear(); }

  signals:
    void recovered(const glintro::LibraryRecovery::Outcome& outcome);
    // Folders that may have rested long enough are to be read again.
    void rested(const std::vector<std::filesystem::path>& folders);

  private:
    struct Attempt;
    void finished(const std::vector<Attempt>& attempts);

    const std::chrono::milliseconds rest_;
    DiskQueue queue_;
    QTimer timer_;
    std::set<std::filesystem::path> underWay_;
    std::set<std::filesystem::path> resting_;
    std::map<std::filesystem::path, std::int64_t> failed_; // and when its files were last changed
};

} // namespace glintro
