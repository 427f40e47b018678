#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace glintro {

// Runs tasks one after the other, in the order they came, on one thread of its own. Samples enter through
// offer(), which refuses them while too many tasks wait: a queue that falls behind must not grow.
class SerialQueue {
  public:
    using Task = std::move_only_function<void()>;

    // `sampleLimit`: so many tasks may wait before offer() refuses.
    explicit SerialQueue(std::size_t sampleLimit);
    // Runs what is waiting, then ends.
    ~SerialQueue();

    [[nodiscard]] bool offer(Task task); // false, and the task is dropped, while the queue is behind
    void post(Task task);                // never refused
    // Waits until the task and everything before it has run. Not from a task.
    void run(Task task);

  private:
    void work();

    const std::size_t sampleLimit_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Task> waiting_; // guarded by mutex_
    bool closed_ = false;      // guarded by mutex_
    std::jthread thread_;      // last: it uses all of the above
};

} // namespace glintro
