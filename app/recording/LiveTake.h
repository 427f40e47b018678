#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "app/recording/CaptureEngine.h"
#include "app/recording/TakeLibrary.h"
#include "core/base/Failure.h"
#include "core/reel/Project.h"
#include "core/timeline/PauseClock.h"
#include "platform/Platform.h"

namespace glintro {

// What to record, and how. The pixel size in the settings is taken from what is recorded.
struct TakeOrder {
    ContentFilter filter;
    CaptureSettings settings;
};

// Called on threads of the take's, until it is destroyed.
struct TakeHandlers {
    std::function<void(const Failure&)> failed;     // the take cannot go on and should be finished
    std::function<void(const std::string&)> notice; // one sentence for the user; the take goes on
};

// A take from its first sample to its reel: the folder with the movies, the pointer's log and the journal of
// both. Beginning, finishing and destroying one blocks; not for the main thread.
class LiveTake {
  public:
    // Begins to record. May ask the user what to share; a stop request takes that back and the failure is a
    // cancelled one. On failure no folder is left.
    [[nodiscard]] static Result<std::unique_ptr<LiveTake>> begin(const TakeOrder& order, Platform& platform,
                                                                 TakeLibrary& library,
                                                                 const TakeHandlers& handlers,
                                                                 const std::stop_token& cancel);
    // Discards a take that was not finished.
    ~LiveTake();
    LiveTake(const LiveTake&) = delete;
    LiveTake& operator=(const LiveTake&) = delete;

    void pause(Seconds at);
    void resume(Seconds at);
    CaptureProgress progress() const; // from any thread

    // Finishes the files and registers the reel. Whatever moment the process is killed at, the folder can be
    // completed later. Nothing, and no folder, when there was no picture. Fails when the recording could not
    // be registered; its files are kept.
    [[nodiscard]] Result<std::optional<Project>> finish(const PauseClock& pauses);
    // Instead of finish(): leaves no folder.
    void discard();

  private:
    struct Impl;
    explicit LiveTake(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

} // namespace glintro
