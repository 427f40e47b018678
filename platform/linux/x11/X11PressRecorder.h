#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

#include <xcb/record.h>

#include "core/base/Geometry.h"
#include "platform/PointerSource.h"
#include "platform/linux/x11/X11Connection.h"

namespace glintro {

// Sees every press of the left and right button on an X server from its making to its end, on a thread and a
// connection of its own. The server sends what it records through that connection only, and is told about it
// on another.
class X11PressRecorder {
  public:
    // Called on the recorder's thread.
    struct Handlers {
        PointerSource::PressHandler pressed;
        // The server has stopped showing presses. At most once, as the last call.
        PointerSource::WarningHandler ended;
    };

    // `control` must outlive the recorder; positions are in points of `scale` pixels. Fails when the server
    // refuses. Waits for its word, but for a second only: see isRecording().
    [[nodiscard]] static Result<std::unique_ptr<X11PressRecorder>> create(const X11Connection& control,
                                                                          double scale, Handlers handlers);

    // No handler runs any more when it is gone. Presses made before are handed over first.
    ~X11PressRecorder();

    // False while a server that another program keeps to itself has not begun to show presses.
    bool isRecording() const;

    X11PressRecorder(const X11PressRecorder&) = delete;
    X11PressRecorder& operator=(const X11PressRecorder&) = delete;

  private:
    enum class State { starting, recording, refused, ended };

    X11PressRecorder(const X11Connection& control, X11Connection data, xcb_record_context_t context,
                     double scale, Handlers handlers);
    State waitForStart();
    void run(xcb_record_enable_context_cookie_t cookie);
    bool begin(xcb_record_enable_context_cookie_t cookie);
    void end();
    void enter(State state);
    void handle(xcb_record_enable_context_reply_t& reply, Seconds arrival) const;

    const X11Connection& control_;
    X11Connection data_;
    xcb_record_context_t context_;
    double scale_;
    Handlers handlers_;

    mutable std::mutex mutex_; // of the two below
    State state_ = State::starting;
    bool isStopping_ = false;
    std::condition_variable changed_;
    std::thread thread_;
};

// The host time of an event that an X server stamped with its own clock, whole milliseconds modulo 2^32. The
// clock of a server on this machine is the host's; a stamp that is not of the seconds before `arrival` is of
// a clock elsewhere, and the arrival has to do.
Seconds hostTimeOfX11(std::uint32_t serverTime, Seconds arrival);

} // namespace glintro
