#pragma once

#include <functional>
#include <memory>
#include <stop_token>
#include <string>

#include "app/base/BackgroundQueue.h"

namespace glintro {

// Named tasks that run one after the other on a background thread: the one that was asked for last runs
// first, for it is what somebody looks at. Used by one thread, which never waits: what runs when the object
// goes is stopped by its token and left behind, so a task must own what it uses.
class RequestStack {
  public:
    using Task = std::move_only_function<void(const std::stop_token&)>;

    RequestStack();
    ~RequestStack();
    RequestStack(const RequestStack&) = delete;
    RequestStack& operator=(const RequestStack&) = delete;

    // Ahead of all that wait. A task of the same name is dropped, or stopped where it runs.
    void push(const std::string& name, Task task);
    // Puts a waiting task ahead of all others; ignored where none waits.
    void raise(const std::string& name);
    void drop(const std::string& name);

  private:
    struct State;
    static void runNewest(State& state);

    std::shared_ptr<State> state_; // shared with the thread
    BackgroundQueue queue_;
};

} // namespace glintro
