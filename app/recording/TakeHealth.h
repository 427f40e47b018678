#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include "app/recording/DiskWatch.h"
#include "core/base/Failure.h"
#include "core/media/encode/LiveMovieWriter.h"

namespace glintro {

// What a take looks like from outside at one moment. Read from memory alone: a disk that hangs must not keep
// anybody from noticing that it does.
struct TakeVitals {
    std::int64_t framesSeen = 0; // of the stream, those in pauses too
    std::int64_t framesDue = 0;  // those that should be recorded
    std::int64_t framesEncoded = 0;
    bool isPaused = false;
    LiveMovieProgress onDisk = {};
    DiskState disk = {}; // as it last answered
};

// For how long work that is due has not been done.
class StallTimer {
  public:
    // Seconds without work done though there was some. `due` and `done` grow with the work; while
    // `isExcused`, what is due so far does not count.
    Seconds duration(std::int64_t due, std::int64_t done, bool isExcused, Seconds hostTime);

  private:
    std::int64_t dueAtProgress_ = 0; // what was due when something was done last
    std::int64_t lastDone_ = 0;
    std::optional<Seconds> since_;
};

// For how long work that was asked for makes no progress.
class ProgressWatch {
  public:
    // Seconds since `progress` last grew. Call it several times a second: time in which nobody looked,
    // because the process was stopped, does not count.
    Seconds stalledFor(std::int64_t progress, Seconds hostTime);

  private:
    std::optional<Seconds> lastLook_;
    std::int64_t lastProgress_ = 0;
    Seconds stalled_ = 0;
};

// Tells from what was seen of a take, moment by moment, that it is dying unnoticed.
class TakeDiagnosis {
  public:
    static constexpr std::int64_t kLeastFreeSpace = 200'000'000; // bytes
    static constexpr Seconds kStallTimeout = 3;

    explicit TakeDiagnosis(Seconds hostTime) : lastLook_(hostTime) {}

    // A failure when the take must end.
    std::optional<Failure> examine(const TakeVitals& vitals, Seconds hostTime);

  private:
    bool isStreamSilent(const TakeVitals& vitals, Seconds watched);

    Seconds lastLook_; // host time
    // For how long the take was watched. The time in which the process was stopped does not count: nothing
    // could be done in it.
    Seconds watched_ = 0;
    std::int64_t framesSeen_ = 0;
    Seconds streamSince_ = 0; // the stream's last frame, or the end of a pause, as watched_
    StallTimer encoder_;
    StallTimer disk_;
};

// Too little room to begin a take, in a sentence for the user.
Failure diskNearlyFullAtStart();

// Examines a take twice a second on a thread of its own until something is wrong.
class TakeHealth {
  public:
    // `vitals` must not block. `failed` is called at most once. Both are called on the thread of this object.
    TakeHealth(std::function<TakeVitals()> vitals, std::function<void(const Failure&)> failed);

  private:
    void watch(const std::stop_token& stop);

    std::function<TakeVitals()> vitals_;
    std::function<void(const Failure&)> failed_;
    std::mutex mutex_;
    std::condition_variable_any tick_;
    std::jthread thread_; // last: it uses all of the above
};

} // namespace glintro
