#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace glintro {

// Calls something once, some time from now: a seam, so that tests can let time pass as they like. Main
// thread.
class DelayTimer {
  public:
    virtual ~DelayTimer() = default; // as stop()

    // In place of a call that still waits.
    virtual void start(std::chrono::milliseconds delay, std::function<void()> call) = 0;
    virtual void stop() = 0;
    virtual bool isActive() const = 0;
};

// Makes the timers that a model needs.
using DelayTimers = std::function<std::unique_ptr<DelayTimer>()>;

// Timers that run on the event loop of the calling thread.
DelayTimers eventLoopTimers();

} // namespace glintro
