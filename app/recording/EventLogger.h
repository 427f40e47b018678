#pragma once

#include <condition_variable>
#include <functional>
#include <thread>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "core/reel/TakeJournal.h"
#include "platform/PointerSource.h"

namespace glintro {

// Where the pointer is during one take, and what it presses: a sample 60 times a second and at each press, a
// click for each press inside of what is recorded. All of it goes to the take's journal as it happens and is
// kept nowhere else, by host times and in fractions of the recorded rectangle. Pauses do not stop it; they
// are cut out when the take is finished.
class EventLogger {
  public:
    EventLogger() = default;
    ~EventLogger();
    EventLogger(const EventLogger&) = delete;
    EventLogger& operator=(const EventLogger&) = delete;

    // Call once. `frame` returns the recorded rectangle of the desktop as it is now, and is called on threads
    // of the logger and of the pointer; while it is empty, nothing is logged. All that is handed over must
    // live until finish(). Fails when the pointer cannot be followed.
    [[nodiscard]] Result<void> start(std::function<Rect()> frame, PointerSource& pointer,
                                     TakeJournal& journal);

    // Ends logging: the journal is given nothing after it. Not from a thread of the pointer's.
    void finish();

  private:
    void keepSampling(const std::stop_token& stop);
    void sample(Point position, Seconds hostTime);
    void press(const PointerPress& press);

    std::function<Rect()> frame_;
    PointerSource* pointer_ = nullptr; // while logging
    TakeJournal* journal_ = nullptr;
    std::condition_variable_any wake_;

    std::jthread sampling_;
};

} // namespace glintro
