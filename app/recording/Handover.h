#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace glintro {

// Brings an object whose end may block from a background thread to one that must not block, and that may have
// stopped waiting for it. An event must not hold such an object: events that are dropped end with their
// receiver. From any thread.
template <class T>
class Handover {
  public:
    // After close() the object is released here, on the background thread.
    void put(std::shared_ptr<T> object) {
        const std::scoped_lock lock(mutex_);
        if (!isClosed_) object_.swap(object);
    }
    std::shared_ptr<T> get() {
        const std::scoped_lock lock(mutex_);
        return std::exchange(object_, nullptr);
    }
    // As get(), for the last time.
    [[nodiscard]] std::shared_ptr<T> close() {
        const std::scoped_lock lock(mutex_);
        isClosed_ = true;
        return std::exchange(object_, nullptr);
    }

  private:
    std::mutex mutex_;
    std::shared_ptr<T> object_; // guarded by mutex_
    bool isClosed_ = false;     // guarded by mutex_
};

} // namespace glintro
