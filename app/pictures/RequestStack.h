#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>

#include "app/base/BackgroundQueue.h"

namespace glintro {

// Named tasks that run one after the other on a background thread, the most urgent first: the one that was
// asked for last, for it is what somebody looks at. Used by one thread, which never waits; only at the end,
// and then but a moment, for a task that is being stopped. One that hangs is left behind, so tasks must own
// what they use.
class RequestStack {
  public:
    using Task = std::move_only_function<void(const std::stop_token&)>;

    RequestStack();
    ~RequestStack();
    RequestStack(const RequestStack&) = delete;
    RequestStack& operator=(const RequestStack&) = delete;

    // Runs ahead of what is less urgent. A task of the same name is dropped, or stopped where it runs.
    void push(const std::string& name, std::uint64_t urgency, Task task);
    // Makes a waiting task more or less urgent; ignored where none waits.
    void raise(const std::string& name, std::uint64_t urgency);
    // Drops a waiting task, stops a running one.
    void drop(const std::string& name);

  private:
    struct State;

    std::shared_ptr<State> state_; // shared with the thread
    BackgroundQueue queue_;
};

} // namespace glintro
