#pragma once

#include <mutex>
#include <optional>
#include <utility>

namespace glintro {

// The order that a worker carries out next: a newer one replaces one that the worker has not begun. Any
// thread.
template <class Order>
class NewestOrder {
  public:
    // Whether the worker is at work and will ask for it; otherwise the caller has to start the worker, which
    // asks next() until there is nothing.
    bool put(Order order) {
        const std::scoped_lock lock(mutex_);
        pending_ = std::move(order);
        return std::exchange(isWorking_, true);
    }
    std::optional<Order> next() {
        const std::scoped_lock lock(mutex_);
        isWorking_ = pending_.has_value();
        return std::exchange(pending_, std::nullopt);
    }

  private:
    std::mutex mutex_;
    std::optional<Order> pending_; // guarded by mutex_
    bool isWorking_ = false;       // guarded by mutex_
};

} // namespace glintro
