#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include <sys/types.h>

namespace glintro {

// The system service that raises threads of users who may not do so themselves, asked over the system bus on
// a thread of its own. Where there is no such service, or it refuses, nothing happens.
class RealtimeKit {
  public:
    RealtimeKit();
    // What was not asked yet is dropped; a service that hangs delays it by a second at most.
    ~RealtimeKit();
    RealtimeKit(const RealtimeKit&) = delete;
    RealtimeKit& operator=(const RealtimeKit&) = delete;

    // Asks to give a thread of this process a nice value below 0, or the lowest one that the service grants.
    // From any thread; does not wait.
    void raise(pid_t thread, int nice);

  private:
    struct Wish {
        pid_t thread = 0;
        int nice = 0;
    };

    void run(const std::stop_token& stop);

    std::mutex mutex_;
    std::condition_variable_any changed_;
    std::deque<Wish> wishes_; // guarded by mutex_
    std::jthread thread_;     // last: it uses all of the above
};

} // namespace glintro
