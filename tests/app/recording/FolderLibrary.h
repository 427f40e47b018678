#pragma once

#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <string>

#include "app/recording/TakeLibrary.h"
#include "core/media/decode/MovieReader.h"
#include "core/reel/Finishing.h"
#include "core/reel/TakeJournal.h"

namespace glintro::test {

// Reels in one folder after the other, as the library makes them.
class FolderLibrary final : public TakeLibrary {
  public:
    explicit FolderLibrary(std::filesystem::path root) : root_(std::move(root)) {}

    Result<std::filesystem::path> newProjectFolder(Timestamp) override {
        const std::filesystem::path folder = root_ / std::to_string(++made);
        std::filesystem::create_directories(folder);
        return folder;
    }
    void discardFolder(const std::filesystem::path& folder) override { std::filesystem::remove_all(folder); }
    Result<FinishedReel> registerRecording(const FinishedTake& take) override {
        const auto movie = MovieReader::open(take.folder / "raw.mov", MovieReader::Access::single);
        couldBeCompleted = movie && std::filesystem::exists(TakeJournal::fileIn(take.folder));
        std::unique_lock lock(mutex_);
        answers_.wait(lock, [this] { return !isHanging_; });
        if (isReadOnly) return failure("Read only.");
        if (cameraIsDamaged) std::ofstream(take.folder / "camera.mov") << "no movie";
        return finishReel(take.folder, {.name = take.name, .take = take.record});
    }
    void setScreenAccess(bool access) override { hasAccess = access; }

    bool isEmpty() const { return std::filesystem::is_empty(root_); }
    void hang() {
        const std::scoped_lock lock(mutex_);
        isHanging_ = true;
    }
    void answer() {
        const std::scoped_lock lock(mutex_);
        isHanging_ = false;
        answers_.notify_all();
    }

    std::atomic<int> made = 0;
    bool isReadOnly = false;
    bool cameraIsDamaged = false;
    bool couldBeCompleted = false; // had it been killed instead of registered
    std::optional<bool> hasAccess;

  private:
    std::filesystem::path root_;
    std::mutex mutex_;
    std::condition_variable answers_;
    bool isHanging_ = false; // guarded by mutex_
};

} // namespace glintro::test
