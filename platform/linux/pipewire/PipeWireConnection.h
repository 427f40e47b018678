#pragma once

#include <functional>
#include <memory>

#include <pipewire/pipewire.h>

#include "core/base/Failure.h"

namespace glintro {

struct PipeWireDeleter {
    void operator()(pw_thread_loop* loop) const { pw_thread_loop_destroy(loop); }
    void operator()(pw_context* context) const { pw_context_destroy(context); }
    void operator()(pw_core* core) const { pw_core_disconnect(core); }
    void operator()(pw_stream* stream) const { pw_stream_destroy(stream); }
    void operator()(pw_registry* registry) const { pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry)); }
};
using PipeWireStream = std::unique_ptr<pw_stream, PipeWireDeleter>;
using PipeWireRegistry = std::unique_ptr<pw_registry, PipeWireDeleter>;

// Registers a listener for as long as it lives.
struct PipeWireHook : spa_hook {
    PipeWireHook() : spa_hook{} {}
    PipeWireHook(const PipeWireHook&) = delete;
    PipeWireHook& operator=(const PipeWireHook&) = delete;
    ~PipeWireHook() {
        if (link.prev != nullptr) spa_hook_remove(this);
    }
};

// A connection to a PipeWire daemon with a thread of its own, on which all listeners are called. Lockable:
// all other threads hold the lock while they touch PipeWire objects, and listeners run with it held.
class PipeWireConnection {
  public:
    // To the user's daemon, or over a socket that was opened for us, whose descriptor belongs to the
    // connection from here on.
    [[nodiscard]] static Result<std::unique_ptr<PipeWireConnection>> connect(int descriptor = -1);
    ~PipeWireConnection();

    void lock() { pw_thread_loop_lock(loop_.get()); }
    void unlock() { pw_thread_loop_unlock(loop_.get()); }

    // Waits for the end of the thread: no listener runs any more. Call it without the lock.
    void stop() { pw_thread_loop_stop(loop_.get()); }

    pw_loop* loop() const { return pw_thread_loop_get_loop(loop_.get()); }
    pw_core* core() const { return core_.get(); }

    // Called on the connection's thread when the daemon is gone, also when it went before this; set it under
    // the lock.
    void onLost(std::function<void()> handler);
    // Called on the connection's thread once the daemon has handled all requests made before this.
    void afterRoundTrip(std::function<void()> handler);

  private:
    PipeWireConnection() = default;
    static const pw_core_events kCoreEvents;

    std::unique_ptr<pw_thread_loop, PipeWireDeleter> loop_;
    std::unique_ptr<pw_context, PipeWireDeleter> context_;
    std::unique_ptr<pw_core, PipeWireDeleter> core_;
    PipeWireHook hook_;
    std::function<void()> lost_;
    bool isLost_ = false;
    std::function<void()> synchronised_;
    int sequence_ = -1;
};

} // namespace glintro
