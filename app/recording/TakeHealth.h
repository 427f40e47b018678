#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include "core/base/Failure.h"
#include "core/media/encode/LiveMovieWriter.h"

namespace glintro {

// What a take looks like from outside at one moment.
struct TakeVitals {
    std::int64_t framesSeen = 0; // of the stream, those in pauses too
    std::int64_t framesDue = 0;  // those that should be recorded
    std::int64_t framesEncoded = 0;
    bool isPaused = false;
    LiveMovieProgress onDisk;
    bool isInPlace = true; // its files are where they were made
};

// Whether work that is due is being done.
class Standstill {
  public:
    // For how long nothing was done though there was work. `due` and `done` grow with the work; `suspended`
    // excuses everything that was due so far.
    Seconds duration(std::int64_t due, std::int64_t done, bool suspended, Seconds hostTime);

  private:
    std::int64_t answered_ = 0; // what was due when something was done last
    std::int64_t lastDone_ = 0;
    std::optional<Seconds> since_;
};

// Tells from what was seen of a take, moment by moment, that it is dying unnoticed.
class TakeDiagnosis {
  public:
    static constexpr std::int64_t kLeastFreeSpace = 200'000'000; // bytes
    static constexpr Seconds kPatience = 3;

    explicit TakeDiagnosis(Seconds hostTime) : lastLook_(hostTime) {}

    // `freeSpace` in bytes; absent when it is not known. A failure when the take must end.
    std::optional<Failure> examine(const TakeVitals& vitals, std::optional<std::int64_t> freeSpace,
                                   Seconds hostTime);

  private:
    bool isStreamSilent(const TakeVitals& vitals, Seconds watched);

    Seconds lastLook_; // host time
    // For how long the take was watched: whoever does not look for a while, because the process was stopped,
    // cannot tell of anybody else that they did nothing.
    Seconds watched_ = 0;
    std::int64_t framesSeen_ = 0;
    Seconds streamSince_ = 0; // the stream's last sign of life, or the end of a pause, as watched_
    Standstill encoder_;
    Standstill disk_;
};

// Too little room to begin a take, in a sentence for the user.
Failure diskNearlyFullAtStart();

// Bytes that may still be written to the file system of a folder.
using FreeSpace = std::function<std::optional<std::int64_t>()>;
FreeSpace freeSpaceOf(const std::filesystem::path& folder);

// Examines a take twice a second on a thread of its own until something is wrong.
class TakeHealth {
  public:
    // `failed` is called at most once, on the thread of this.
    TakeHealth(FreeSpace freeSpace, std::function<TakeVitals()> vitals,
               std::function<void(const Failure&)> failed);

  private:
    void watch(const std::stop_token& stop);

    FreeSpace freeSpace_;
    std::function<TakeVitals()> vitals_;
    std::function<void(const Failure&)> failed_;
    std::mutex mutex_;
    std::condition_variable_any tick_;
    std::jthread thread_; // last: it uses all of the above
};

} // namespace glintro
