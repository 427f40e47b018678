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

// What to record, and how. The pixel size in the settings is replaced by that of the stream.
struct TakeOrder {
    ContentFilter filter;
    CaptureSettings settings;
};

// Called on threads of the take's, until it is destroyed. Must not block.
struct TakeHandlers {
    std::function<void(const Failure&)> failed;     // the take cannot go on and should be finished
    std::function<void(const std::string&)> notice; // one sentence for the user; the take goes on
};

// What a take records from. All of it outlives the take.
struct TakeSources {
    ScreenCapture& screen;
    SoundSystem& sound;
    CameraSystem& cameras;
};

// A take from its first sample to its reel: the folder with the movies, the pointer's log and the journal of
// both. Preparing, starting, finishing, discarding and destroying one blocks; not for the main thread, and
// one at a time.
//
//   prepare ──► start ──► [pause, resume] ──► finish
//                 └──────────┴──► discard
class LiveTake {
  public:
    // Does all that takes its time: asks the user what to share, where the system does so, makes the folder,
    // opens microphone and camera and chooses the encoder. The pointer is followed from here on. A stop
    // request ends it with a cancelled failure. On failure nothing is left: no folder, no open device.
    [[nodiscard]] static Result<std::unique_ptr<LiveTake>> prepare(const TakeOrder& order,
                                                                   const TakeSources& sources,
                                                                   TakeLibrary& library,
                                                                   const TakeHandlers& handlers,
                                                                   const std::stop_token& cancel);
    // Discards a take that was not finished.
    ~LiveTake();
    LiveTake(const LiveTake&) = delete;
    LiveTake& operator=(const LiveTake&) = delete;

    // Records from here on, unless the settings say startsAtOnce: then it does so since prepare(), and this
    // is called all the same. The first picture comes at once. After a failure the take can only be
    // discarded.
    [[nodiscard]] Result<void> start();
    void pause(Seconds hostTime);
    void resume(Seconds hostTime);
    CaptureProgress progress() const; // from any thread; never blocks
    // Host time of the first picture; absent before it. From any thread; never blocks.
    std::optional<Seconds> firstFrameHostTime() const;

    // Finishes the files and registers the reel. Whatever moment the process is killed at, the folder can be
    // completed later. `nullopt`, and no folder, when there was no picture. Fails when the recording could
    // not be registered; its files are kept.
    [[nodiscard]] Result<std::optional<Project>> finish(const PauseClock& pauses);
    // Instead of finish(): leaves no folder.
    void discard();

    const std::filesystem::path& folder() const;
    // Grows while finish() gets on. From any thread; never blocks.
    std::int64_t finishingProgress() const;
    // finish() or discard() hangs and is waited for no longer: should it ever go on, it makes no further call
    // to the library and leaves the folder to a later recovery. From any thread; never blocks.
    void letGo();

  private:
    struct Impl;
    explicit LiveTake(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

} // namespace glintro
