#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "core/model/RecordingEvents.h"
#include "core/reel/TakeJournal.h"
#include "core/timeline/PauseClock.h"
#include "platform/PointerSource.h"

namespace glintro {

// Where the pointer is during one take, and what it presses: a sample 60 times a second and at each press, a
// click for each press inside of what is recorded. All of it goes to the take's journal as it happens, by
// host times and in fractions of the recorded rectangle. Pauses do not stop it; they are cut out at the end.
class EventLogger {
  public:
    EventLogger() = default;
    ~EventLogger();
    EventLogger(const EventLogger&) = delete;
    EventLogger& operator=(const EventLogger&) = delete;

    // `frame` tells the recorded rectangle of the desktop at the moment it is called, on threads of the
    // logger's and of the pointer's; while it is empty, nothing is logged. All that is handed over must live
    // until finish(). Once. Fails when the pointer cannot be followed.
    [[nodiscard]] Result<void> start(std::function<Rect()> frame, PointerSource& pointer,
                                     TakeJournal& journal);

    // Ends logging, and places what was logged in a recording of `duration` that began at host time `origin`
    // and had these pauses. Not from a thread of the pointer's.
    RecordingEvents finish(Seconds origin, Seconds duration, const PauseClock& pauses);

  private:
    void keepSampling(const std::stop_token& stop);
    void sample(Point position, Seconds hostTime);
    void press(const PointerPress& press);
    void end();

    std::function<Rect()> frame_;
    PointerSource* pointer_ = nullptr; // while logging
    TakeJournal* journal_ = nullptr;

    std::mutex mutex_; // guards the two lists
    std::condition_variable_any wake_;
    std::vector<EventSample> samples_;
    std::vector<EventSample> clicks_;

    std::jthread sampling_;
};

} // namespace glintro
