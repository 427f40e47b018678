#pragma once

#include <functional>
#include <memory>

#include <pulse/pulseaudio.h>

#include "core/base/Failure.h"

namespace glintro {

struct PulseStreamDeleter {
    void operator()(pa_stream* stream) const { pa_stream_unref(stream); }
};
using PulseStream = std::unique_ptr<pa_stream, PulseStreamDeleter>;

// A connection to the sound server with a thread of its own, on which libpulse calls back. No server is
// started for it. Whatever is asked of libpulse from another thread needs a Lock; callbacks hold it already.
class PulseConnection {
  public:
    // Fails within a few seconds when no server answers.
    [[nodiscard]] static Result<std::unique_ptr<PulseConnection>> open();
    // No callback runs any more afterwards. Not from a callback, not under the lock.
    ~PulseConnection();

    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;

    // Recursive; nothing to do on the connection's own thread.
    class Lock {
      public:
        explicit Lock(const PulseConnection& connection);
        ~Lock();
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

      private:
        pa_threaded_mainloop* loop_;
    };

    pa_context* context() const { return context_.get(); }
    bool isAlive() const; // under the lock

    // Under the lock, and not on the connection's thread: waits until a callback has called wake() and `done`
    // holds. False when the server went, or did not answer within a few seconds.
    bool await(const std::function<bool()>& done);
    bool await(pa_operation* operation); // until it is done; releases it
    void wake();

    // Under the lock: whether the stream becomes usable; its callbacks must wake().
    bool awaitReady(pa_stream* stream);

  private:
    PulseConnection() = default;
    [[nodiscard]] Result<void> connect();

    struct LoopDeleter {
        void operator()(pa_threaded_mainloop* loop) const { pa_threaded_mainloop_free(loop); }
    };
    struct ContextDeleter {
        void operator()(pa_context* context) const { pa_context_unref(context); }
    };

    std::unique_ptr<pa_threaded_mainloop, LoopDeleter> loop_;
    std::unique_ptr<pa_context, ContextDeleter> context_;
};

} // namespace glintro
