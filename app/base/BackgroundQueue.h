#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace glintro {

// Runs tasks in order on one thread that is never waited for without a deadline: a task that hangs, on a disk
// or a sound server that does not answer, can be left behind. What a task uses must therefore be its own, or
// outlive every task. Used by one thread.
class BackgroundQueue {
  public:
    using Task = std::move_only_function<void()>;

    BackgroundQueue();
    // As abandon(). Call waitUntilIdle() first where the tasks matter.
    ~BackgroundQueue();
    BackgroundQueue(const BackgroundQueue&) = delete;
    BackgroundQueue& operator=(const BackgroundQueue&) = delete;

    void post(Task task);
    // False when tasks still wait or run at the end of the timeout.
    [[nodiscard]] bool waitUntilIdle(std::chrono::milliseconds timeout);
    // Leaves the running task behind on its thread and drops those that wait; later ones run on a new thread.
    void abandon();

  private:
    struct State;
    static void work(const std::shared_ptr<State>& state);

    std::shared_ptr<State> state_; // shared with the thread
};

} // namespace glintro
